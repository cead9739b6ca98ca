#include "plugin.h"

#include <link.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace pdctl {
namespace {

// RTLD_GLOBAL puts the plug-in's transport in the global scope, where the
// optional upload progress hook is looked up with dlsym(RTLD_DEFAULT).
constexpr int kOpenFlags = RTLD_NOW | RTLD_GLOBAL;

// The folders the dynamic loader searches for pdctl's own libraries:
// LD_LIBRARY_PATH, pdctl's RUNPATH, the system's folders.
std::vector<std::string> search_path() {
  std::vector<std::string> folders;
  void *self = dlopen(nullptr, RTLD_NOW);
  Dl_serinfo size{};
  if (self == nullptr || dlinfo(self, RTLD_DI_SERINFOSIZE, &size) != 0) return folders;
  auto *info = static_cast<Dl_serinfo *>(std::malloc(size.dls_size));
  if (info == nullptr) return folders;
  info->dls_size = size.dls_size;
  info->dls_cnt = size.dls_cnt;
  // Only absolute folders: CMake ends a build tree's RUNPATH with an empty
  // entry (room for the install RUNPATH), which would mean the current folder.
  if (dlinfo(self, RTLD_DI_SERINFO, info) == 0)
    for (unsigned i = 0; i < info->dls_cnt; ++i)
      if (info->dls_serpath[i].dls_name[0] == '/') folders.emplace_back(info->dls_serpath[i].dls_name);
  std::free(info);
  return folders;
}

void *open_file(const std::string &path, std::string *error) {
  void *library = dlopen(path.c_str(), kOpenFlags);
  if (library == nullptr) {
    const char *why = dlerror();
    *error = why != nullptr ? why : "cannot open " + path;
  }
  return library;
}

// dlopen of a bare file name searches the folders of the object that calls
// it. A sanitizer build calls through the sanitizer's runtime, which has no
// RUNPATH, so pdctl walks its own folders, as the loader would.
void *open_library(const std::string &path, std::string *error) {
  if (path.find('/') != std::string::npos) return open_file(path, error);
  for (const std::string &folder : search_path()) {
    std::string candidate = folder + "/" + path;
    if (access(candidate.c_str(), F_OK) == 0) return open_file(candidate, error);
  }
  *error = path + " is not in LD_LIBRARY_PATH, pdctl's own library folder or the system's";
  return nullptr;
}

}  // namespace

bool load_plugin(const std::string &path, Plugin *plugin, std::string *error) {
  void *library = open_library(path, error);
  if (library == nullptr) {
    *error = "cannot load the plug-in: " + *error;
    return false;
  }
  std::string first_missing;
  int missing = 0;
#define PDCTL_FIND(name)                                                          \
  plugin->name = reinterpret_cast<decltype(plugin->name)>(dlsym(library, #name)); \
  if (plugin->name == nullptr && missing++ == 0) first_missing = #name;
  PDCTL_PLUGIN_FUNCTIONS(PDCTL_FIND)
#undef PDCTL_FIND
  if (plugin->pd_init == nullptr) {
    *error = path + " is not the SNS client plug-in: it has no pd_init";
    return false;
  }
  if (missing > 0) {
    *error = path + " is not a plug-in pdctl can drive: it lacks " + first_missing +
             (missing > 1 ? " and " + std::to_string(missing - 1) + " more of its functions" : "");
    return false;
  }
  return true;
}

}  // namespace pdctl
