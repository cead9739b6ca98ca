// The plug-in as pdctl sees it: a shared library opened with dlopen and a
// table of the functions pdctl calls, each found with dlsym, exactly as the
// engine finds them. The public headers are included for the record
// layouts and the functions' types; nothing of the plug-in is linked.
#ifndef PDCTL_PLUGIN_H
#define PDCTL_PLUGIN_H

#include <dlfcn.h>

#include <string>

#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"
#include "engine_release.h"

namespace pdctl {

// Every function of the plug-in that pdctl calls: the entry points and the
// release operations of the records a notification can carry.
#define PDCTL_PLUGIN_FUNCTIONS(X) \
  X(pd_init)                      \
  X(pd_finalize)                  \
  X(pd_setattr)                   \
  X(pd_sendreq)                   \
  PD_ENGINE_RELEASE_FUNCTIONS(X)

struct Plugin {
  // decltype keeps each pointer's type in step with the public header
  // without referring to the function itself.
#define PDCTL_DECLARE(name) decltype(&::name) name = nullptr;
  PDCTL_PLUGIN_FUNCTIONS(PDCTL_DECLARE)
#undef PDCTL_DECLARE
};

// Opens the plug-in at `path` (a bare file name is searched for as dlopen
// does, pdctl's RUNPATH included) and finds every function of the table.
// False, with the reason in `error`, when it cannot be opened or lacks a
// function. The library stays loaded for the rest of the process: GLib and
// GConf inside it cannot be unloaded safely.
bool load_plugin(const std::string &path, Plugin *plugin, std::string *error);

// A function of an optional extension of the transport that the plug-in
// brought in (the project's transport has them, the platform's does not),
// or null. The plug-in is opened RTLD_GLOBAL, so its transport is in the
// global scope.
template <class Function>
Function transport_extension(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

}  // namespace pdctl

#endif
