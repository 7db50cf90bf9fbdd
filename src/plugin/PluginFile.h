// Checks on a plugin file made before it is handed to the loader.
#ifndef QUEVARRA_PLUGIN_PLUGINFILE_H
#define QUEVARRA_PLUGIN_PLUGINFILE_H

#include <string>

namespace qvplugin {

// Why the loader must not map this file, or an empty string. The loader maps
// an ELF file's segments as its program headers describe them; a file cut
// short (an interrupted copy or install) maps pages past its end, and touching
// them kills the process with SIGBUS instead of failing the load. Files that
// are not ELF at all are left to the loader, which refuses them itself.
std::string PluginFileProblem(const char* path);

}  // namespace qvplugin

#endif
