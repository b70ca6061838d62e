// The search for import plug-ins below <root>/plugins/import, one folder level deep.
#include "interface/LibraryFrame.h"
#include "model/collection/DecoderCollection.h"
#include "model/files/FileSystemNative.h"
#include "model/support/Path.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Core\\DecoderCollection";
constexpr size_t RootCapacity = 4096;
constexpr size_t NameCapacity = 1024;
constexpr char PluginPrefix[] = "PluginDecoder";

// The folder of this library's own file, with its final separator.
std::string ModuleDirectory() {
    Dl_info module{};
    if (dladdr(reinterpret_cast<void*>(&ModuleDirectory), &module) == 0 || module.dli_fname == nullptr) {
        return std::string();
    }
    Buffer directory = Path::GetDirectory(Buffer(module.dli_fname));
    return directory.Text() != nullptr ? directory.Text() : "";
}

std::string ImportDirectory(const char* pluginRoot) {
    std::string root =
        pluginRoot != nullptr ? std::string(pluginRoot).substr(0, RootCapacity) : ModuleDirectory();
    Buffer directory = Path::GetDirectory(Buffer(root.c_str()));
    return std::string(directory.Text() != nullptr ? directory.Text() : "") + "plugins/import";
}

std::string EntryName(FileSystem& files, const std::string& folder, int32_t index, bool directory) {
    char name[NameCapacity] = {};
    if (directory) {
        files.GetDirectoryName(folder.c_str(), index, name, sizeof name - 1);
    } else {
        files.GetFileName(folder.c_str(), index, name, sizeof name - 1);
    }
    return name;
}

bool IsPluginCandidate(const std::string& name) {
    return name.compare(0, sizeof PluginPrefix - 1, PluginPrefix) == 0 && Path::ExtensionIs(name, "so");
}

template <class Function> bool Bind(void* library, const char* symbol, Function* out) {
    *out = reinterpret_cast<Function>(dlsym(library, symbol));
    if (*out == nullptr) {
        constexpr int ProcedureNotFound = 127;
        Log(SourceFile, __LINE__, LogStartUp, "GetFunc > Failed to find proc %s with error %d", symbol,
            ProcedureNotFound);
        return false;
    }
    return true;
}

bool BindAll(void* library, DecoderPlugin* plugin) {
    return Bind(library, "GetPluginID", &plugin->getPluginId) &&
           Bind(library, "GetPluginVersion", &plugin->getPluginVersion) &&
           Bind(library, "GetPluginName", &plugin->getPluginName) &&
           Bind(library, "GetPluginDeveloperName", &plugin->getPluginDeveloperName) &&
           Bind(library, "DecoderCount", &plugin->decoderCount) &&
           Bind(library, "GetDecoderInfoByIndex", &plugin->getDecoderInfoByIndex) &&
           Bind(library, "LastError", &plugin->lastError) &&
           Bind(library, "Initialise", &plugin->initialise) &&
           Bind(library, "GetMinimumRuntimeVersion", &plugin->getMinimumRuntimeVersion);
}

bool RuntimeIsRecentEnough(int major, int minor) {
    const LibraryState& library = Library();
    return major < library.runtimeVersionMajor ||
           (major == library.runtimeVersionMajor && minor <= library.runtimeVersionMinor);
}

} // namespace

void DecoderCollection::LookForImportPlugins(const char* pluginRoot) {
    Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Look for import plugins\n");
    std::string importDirectory = ImportDirectory(pluginRoot);
    Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Look for import plugins in %s\n",
        importDirectory.c_str());
    FileSystemNative files;
    int32_t folders = files.GetDirectoryCount(importDirectory.c_str());
    Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Look for import plugins found %d sub-paths\n",
        folders - 1);
    for (int32_t folder = 0; folder < folders; ++folder) {
        // The "." entry stays, so that plug-ins lying in the import folder itself are found too.
        std::string folderName = EntryName(files, importDirectory, folder, true);
        if (folderName == "..") {
            continue;
        }
        std::string subPath = importDirectory + "/" + folderName;
        int32_t candidates = files.GetFileCount(subPath.c_str());
        Log(SourceFile, __LINE__, LogEvent,
            "DecoderCollection > Look for import plugins found %d prospective plugins\n", candidates);
        for (int32_t file = 0; file < candidates; ++file) {
            std::string name = EntryName(files, subPath, file, false);
            if (IsPluginCandidate(name)) {
                LoadPlugin((subPath + "/" + name).c_str());
            }
        }
    }
}

void DecoderCollection::LoadPlugin(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        Log(SourceFile, __LINE__, LogEvent,
            "DecoderCollection > Look for import plugins LoadLibrary failed\n");
        return;
    }
    Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Look for import plugins loaded %s\n", path);
    libraries.Add(library);

    DecoderPlugin plugin{};
    if (!BindAll(library, &plugin)) {
        return;
    }
    int major = 0;
    int minor = 0;
    plugin.getMinimumRuntimeVersion(&major, &minor);
    if (!RuntimeIsRecentEnough(major, minor)) {
        Log(SourceFile, __LINE__, LogEvent,
            "DecoderCollection > Plugin requires Vorncast version %d.%d or higher - not compatible with this "
            "version of Vorncast\n",
            major, minor);
        return;
    }
    plugin.initialise(Library().logCallback);
    char name[NameCapacity] = {};
    plugin.getPluginName(name, sizeof name);
    name[sizeof name - 1] = '\0';
    Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Look for import plugins found plugin %s\n",
        name);
    plugins.Add(plugin);

    int count = plugin.decoderCount();
    for (int index = 0; index < count; ++index) {
        DecoderInfo info{};
        plugin.getDecoderInfoByIndex(index, &info);
        pluginInfos.Add(info);
        Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Got decoder %s from plugin\n",
            info.name != nullptr ? info.name : "");
    }
}

} // namespace Vorn::Vorncast
