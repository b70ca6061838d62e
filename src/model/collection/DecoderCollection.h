#pragma once

#include "model/decoder/DecoderInfo.h"
#include "model/plugin/VorncastDecoderPlugin.h"
#include "model/support/DynamicClass.h"
#include "model/support/Guid.h"
#include "model/support/List.h"

#include <cstdint>
#include <string_view>

namespace Vorn::Vorncast {

// The registry through which a caller finds decoders: the digital table, the three native decoders
// and what import plug-ins offer, in that order.
class DecoderCollection : public DynamicClass {
public:
    DecoderCollection(int32_t importPluginsEnabled, const char* pluginRoot);
    ~DecoderCollection() override;

    int32_t Count() const { return infos.Count(); }
    // A copy; all zeros out of range.
    DecoderInfo GetInfoByIndex(int32_t index);
    // First entry with the GUID and, unless -1 is given, the same variant bytes; all zeros for none.
    DecoderInfo FindByGUID(const Guid& guid, int32_t variant, int32_t subVariant);
    bool FindByGUID(const Guid& guid, int32_t variant, int32_t subVariant, DecoderInfo* out);
    int32_t FindIndexByGUID(const Guid& guid);
    // The name must match whole.
    bool FindByName(const char* name, int32_t variant, int32_t subVariant, DecoderInfo* out);

    // A new collection of this one's entries for one URL: specific decoders whose extensions fit,
    // then general containers that fit, then the rest; manual-only decoders are left out.
    DecoderCollection* BuildAutodetectCollection(std::string_view url);

    // The collection most recently built; digital decoders reach the table through it.
    static DecoderCollection* Current();

private:
    DecoderCollection() = default;
    void BuildDigitalEntries();
    void LookForImportPlugins(const char* pluginRoot);
    void LoadPlugin(const char* path);

    struct TextBlocks {
        char name[1024];
        char extensions[1024];
        char patterns[1024];
    };

    int32_t importPluginsEnabled = 0;
    int32_t digitalCount = 0;
    DecoderInfo* digitalInfos = nullptr;
    TextBlocks* digitalTexts = nullptr;
    List<DecoderPlugin> plugins;
    List<DecoderInfo> pluginInfos;
    List<DecoderInfo> infos;
    List<void*> libraries;
};

} // namespace Vorn::Vorncast
