#include "model/collection/DecoderCollection.h"

#include "interface/LibraryFrame.h"
#include "model/collection/DigitalTable.h"
#include "model/collection/NativeEntries.h"
#include "model/support/Path.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Core\\DecoderCollection";
constexpr uint32_t DigitalKind = 0x80000000u;
constexpr int32_t ManualPriority = -100;
constexpr size_t PatternBlockSize = 1024;

DecoderCollection* currentCollection = nullptr;

// Formats that have no signature worth trusting: the user must choose them.
constexpr const char* ManualOnlyGuids[] = {
    "{CFE30F46-4CC4-485a-A7B0-75681248B567}", // digital Darlex, all frames
    "{E2FA1771-9E5B-4349-94E2-018A2939E6EA}", // Generic ADV601
    "{4568BFE6-5117-490c-961C-2A7A91579834}", // Generic Folder of Jpegs
    "{8923E98A-F163-4ae9-815A-FFB2D3FFF934}", // Generic JPEG
};

bool IsManualOnly(const Guid& guid) {
    for (const char* text : ManualOnlyGuids) {
        Guid manual;
        if (ParseGuid(text, &manual) && SameGuid(manual, guid)) {
            return true;
        }
    }
    return false;
}

// Appends "pattern||" for every pattern; a block that fills up ends in "!!".
void CollectPatterns(const Guid& guid, int32_t count, char* block) {
    std::memset(block, 0, PatternBlockSize);
    size_t position = 0;
    for (int32_t index = 0; index < count; ++index) {
        const char* pattern = DigitalTablePattern(guid, index);
        int written =
            std::snprintf(block + position, PatternBlockSize - position, "%s||", pattern ? pattern : "");
        if (written < 0 || position + static_cast<size_t>(written) >= PatternBlockSize - 1) {
            // Full: the overflow mark takes the last bytes of the block.
            position = PatternBlockSize - 3;
            std::memcpy(block + position, "!!", 3);
            return;
        }
        position += static_cast<size_t>(written);
    }
}

bool VariantMatches(int32_t wanted, uint8_t actual) {
    return wanted == -1 || static_cast<uint8_t>(wanted) == actual;
}

bool ExtensionListed(std::string_view extension, const char* list) {
    if (list == nullptr) {
        return false;
    }
    std::string_view items(list);
    while (true) {
        size_t end = items.find(';');
        std::string_view item = items.substr(0, end);
        if (item.empty()) {
            return false;
        }
        if (item.size() == extension.size() && strncasecmp(item.data(), extension.data(), item.size()) == 0) {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        items.remove_prefix(end + 1);
    }
}

} // namespace

DecoderCollection* DecoderCollection::Current() {
    return currentCollection;
}

DecoderCollection::DecoderCollection(int32_t pluginsEnabled, const char* pluginRoot)
    : importPluginsEnabled(pluginsEnabled) {
    BuildDigitalEntries();
    currentCollection = this;
    if (importPluginsEnabled != 0) {
        LookForImportPlugins(pluginRoot);
    } else {
        Log(SourceFile, __LINE__, LogEvent, "DecoderCollection > Don't look for import plugins\n");
    }
    for (int32_t index = 0; index < digitalCount; ++index) {
        infos.Add(digitalInfos[index]);
    }
    for (int32_t index = 0; index < NativeEntryCount; ++index) {
        infos.Add(NativeEntry(index));
    }
    for (auto* node = pluginInfos.Head(); node != nullptr; node = node->next) {
        infos.Add(*node->item);
    }
}

DecoderCollection::~DecoderCollection() {
    delete[] digitalTexts;
    delete[] digitalInfos;
    for (auto* node = libraries.Head(); node != nullptr; node = node->next) {
        ClosePluginLibrary(*node->item);
    }
    if (currentCollection == this) {
        currentCollection = nullptr;
    }
}

void DecoderCollection::BuildDigitalEntries() {
    digitalCount = DigitalTableCount();
    digitalInfos = new DecoderInfo[static_cast<size_t>(digitalCount)]();
    digitalTexts = new TextBlocks[static_cast<size_t>(digitalCount)]();
    for (int32_t index = 0; index < digitalCount; ++index) {
        DigitalTableRow row{};
        DigitalTableDescribe(index, &row);
        DecoderInfo& info = digitalInfos[index];
        TextBlocks& texts = digitalTexts[index];
        std::snprintf(texts.name, sizeof texts.name, "%s", row.name);
        std::snprintf(texts.extensions, sizeof texts.extensions, "%s", row.extensions);
        char guidText[64];
        std::snprintf(guidText, sizeof guidText, "{%s}", row.guidText);
        ParseGuid(guidText, &info.guid);
        CollectPatterns(info.guid, row.patternCount, texts.patterns);

        info.name = texts.name;
        info.extensions = texts.extensions;
        info.patterns = texts.patterns;
        info.available = 1;
        info.container = row.container ? 1 : 0;
        if (IsManualOnly(info.guid)) {
            info.manualOnly = info.manualOnly2 = 1;
            info.priority = ManualPriority;
        }
        info.kind = DigitalKind;
        info.creator = DigitalDecoderCreator();
    }
}

DecoderInfo DecoderCollection::GetInfoByIndex(int32_t index) {
    if (index < 0 || index >= infos.Count()) {
        return DecoderInfo{};
    }
    return *infos.GetItemPointer(index);
}

DecoderInfo DecoderCollection::FindByGUID(const Guid& guid, int32_t variant, int32_t subVariant) {
    DecoderInfo found{};
    FindByGUID(guid, variant, subVariant, &found);
    return found;
}

bool DecoderCollection::FindByGUID(const Guid& guid, int32_t variant, int32_t subVariant, DecoderInfo* out) {
    for (int32_t index = 0; index < infos.Count(); ++index) {
        const DecoderInfo& info = *infos.GetItemPointer(index);
        if (SameGuid(info.guid, guid) && VariantMatches(variant, info.variant) &&
            VariantMatches(subVariant, info.subVariant)) {
            *out = info;
            return true;
        }
    }
    return false;
}

int32_t DecoderCollection::FindIndexByGUID(const Guid& guid) {
    for (int32_t index = 0; index < infos.Count(); ++index) {
        if (SameGuid(infos.GetItemPointer(index)->guid, guid)) {
            return index;
        }
    }
    return -1;
}

bool DecoderCollection::FindByName(const char* name, int32_t variant, int32_t subVariant, DecoderInfo* out) {
    if (name == nullptr) {
        return false;
    }
    for (int32_t index = 0; index < infos.Count(); ++index) {
        const DecoderInfo& info = *infos.GetItemPointer(index);
        if (info.name != nullptr && std::strcmp(info.name, name) == 0 &&
            VariantMatches(variant, info.variant) && VariantMatches(subVariant, info.subVariant)) {
            if (out != nullptr) {
                *out = info;
            }
            return true;
        }
    }
    return false;
}

DecoderCollection* DecoderCollection::BuildAutodetectCollection(std::string_view url) {
    Path::NameScan scan;
    bool hasExtension = Path::ScanName(url, &scan) && scan.extensionStart >= 0;
    std::string_view extension;
    if (hasExtension) {
        extension = url.substr(static_cast<size_t>(scan.extensionStart) + 1,
                               static_cast<size_t>(Path::PathPartLength(url) - scan.extensionStart - 1));
    }
    auto* result = new DecoderCollection;
    List<DecoderInfo> containers;
    List<DecoderInfo> others;
    for (int32_t index = 0; index < infos.Count(); ++index) {
        const DecoderInfo& info = *infos.GetItemPointer(index);
        if (info.manualOnly == 1) {
            continue;
        }
        if (hasExtension && !ExtensionListed(extension, info.extensions)) {
            others.Add(info);
        } else if (info.container == 1) {
            containers.Add(info);
        } else {
            result->infos.Add(info);
        }
    }
    for (auto* node = containers.Head(); node != nullptr; node = node->next) {
        result->infos.Add(*node->item);
    }
    for (auto* node = others.Head(); node != nullptr; node = node->next) {
        result->infos.Add(*node->item);
    }
    return result;
}

} // namespace Vorn::Vorncast
