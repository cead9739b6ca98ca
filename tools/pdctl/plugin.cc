#include "plugin.h"

#include <dlfcn.h>

namespace pdctl {

bool load_plugin(const std::string &path, Plugin *plugin, std::string *error) {
  // RTLD_GLOBAL puts the plug-in's transport in the global scope, where the
  // optional upload progress hook is looked up with dlsym(RTLD_DEFAULT).
  void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    const char *why = dlerror();
    *error = why != nullptr ? why : "cannot open " + path;
    return false;
  }
  std::string missing;
#define PDCTL_FIND(name)                                                      \
  plugin->name = reinterpret_cast<decltype(plugin->name)>(dlsym(library, #name)); \
  if (plugin->name == nullptr) missing += (missing.empty() ? "" : ", ") + std::string(#name);
  PDCTL_PLUGIN_FUNCTIONS(PDCTL_FIND)
#undef PDCTL_FIND
  if (!missing.empty()) {
    *error = path + " lacks " + missing;
    return false;
  }
  return true;
}

}  // namespace pdctl
