#include "formats/uvms/UvmsTypes.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t MaxLineLength = 255;

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

// The text behind "key =", blanks skipped; false when the line sets another key.
bool ValueOf(std::string_view line, std::string_view key, std::string_view* value) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || Trimmed(line.substr(0, equals)) != key) {
        return false;
    }
    *value = Trimmed(line.substr(equals + 1));
    return true;
}

template <size_t N> void CopyText(std::string_view text, char (&out)[N]) {
    const size_t length = text.size() < N - 1 ? text.size() : N - 1;
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
}

std::string_view FirstWord(std::string_view text) {
    return text.substr(0, text.find_first_of(" \t"));
}

enum class Section { Other, Channel, FileSystem };

struct ConfigReader {
    UVMSConfig* config;
    Section section = Section::Other;
    InputChannelData channel;
    bool keepChannel = false;

    void CloseChannel() {
        if (keepChannel) {
            config->channels.push_back(channel);
        }
        channel = InputChannelData{};
        keepChannel = false;
    }

    void StartSection(std::string_view line) {
        CloseChannel();
        int number = 0;
        const std::string copy(line);
        section = std::sscanf(copy.c_str(), " [channel%d]", &number) == 1 ? Section::Channel
                  : line.find("[filesystem1]") != std::string_view::npos  ? Section::FileSystem
                                                                          : Section::Other;
    }

    void ReadChannelLine(std::string_view line) {
        std::string_view value;
        if (ValueOf(line, "chan_id", &value)) {
            channel.channelId = std::atoi(std::string(value).c_str());
        } else if (ValueOf(line, "inputs", &value)) {
            channel.inputNumber = std::atoi(std::string(value).c_str());
            keepChannel = true;
        } else if (ValueOf(line, "name", &value)) {
            CopyText(value, channel.name);
        } else if (ValueOf(line, "quality", &value)) {
            CopyText(FirstWord(value), channel.quality);
        }
    }

    void ReadLine(std::string_view line) {
        if (line.find('[') != std::string_view::npos) {
            StartSection(line);
            return;
        }
        std::string_view value;
        if (section == Section::Channel) {
            ReadChannelLine(line);
        } else if (section == Section::FileSystem && ValueOf(line, "dir", &value)) {
            CopyText(FirstWord(value), config->dir);
        }
    }
};

} // namespace

const InputChannelData* UVMSConfig::ChannelOfInput(int32_t inputNumber) const {
    for (const InputChannelData& channel : channels) {
        if (channel.inputNumber == inputNumber) {
            return &channel;
        }
    }
    return nullptr;
}

void ParseUVMSConfig(std::string_view text, UVMSConfig* config) {
    config->Clear();
    ConfigReader reader{config};
    while (!text.empty()) {
        size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        reader.ReadLine(Trimmed(line.substr(0, MaxLineLength)));
    }
    reader.CloseChannel();
}

} // namespace Vorn::Vorncast::Decoders
