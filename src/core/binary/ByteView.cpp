#include "core/binary/ByteView.h"

#include <algorithm>
#include <iterator>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t SystemTimeBytes = 16;

SystemTime LoadSystemTime(const uint8_t* bytes) {
    SystemTime time;
    uint16_t* words[] = {&time.wYear, &time.wMonth,  &time.wDayOfWeek, &time.wDay,
                         &time.wHour, &time.wMinute, &time.wSecond,    &time.wMilliseconds};
    for (size_t i = 0; i < std::size(words); ++i) {
        *words[i] = Load<uint16_t, ByteOrder::Little>(bytes + 2 * i);
    }
    return time;
}

} // namespace

size_t CopyText(char* out, size_t outSize, const uint8_t* field, size_t count) {
    const uint8_t* end = std::find(field, field + count, uint8_t{0});
    size_t length = std::min(static_cast<size_t>(end - field), outSize - 1);
    std::copy(field, field + length, out);
    out[length] = '\0';
    return length;
}

ByteView ByteView::Sub(size_t at, size_t count) const {
    if (at >= size) {
        return ByteView();
    }
    return ByteView(data + at, std::min(count, size - at));
}

bool ByteView::Sub(size_t at, size_t count, ByteView* out) const {
    if (!Has(at, count)) {
        *out = ByteView();
        return false;
    }
    *out = ByteView(data + at, count);
    return true;
}

bool ByteView::Matches(size_t at, std::string_view tag) const {
    return Has(at, tag.size()) && std::equal(tag.begin(), tag.end(), data + at,
                                             [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
}

size_t ByteView::Find(std::string_view pattern, size_t from) const {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    size_t found = bytes.find(pattern, from);
    return found == std::string_view::npos ? npos : found;
}

bool ByteView::Text(size_t at, size_t count, char* out, size_t outSize) const {
    if (!Has(at, count)) {
        out[0] = '\0';
        return false;
    }
    CopyText(out, outSize, data + at, count);
    return true;
}

bool ByteView::BcdRun(size_t at, size_t count, uint64_t* value) const {
    const uint8_t* bytes = Bytes(at, count);
    if (bytes == nullptr || count > Bcd::MaxRunBytes || !Bcd::IsValidRun(bytes, count)) {
        *value = 0;
        return false;
    }
    *value = Bcd::RunValue(bytes, count);
    return true;
}

SystemTime ByteView::SystemTimeLE(size_t at) const {
    SystemTime time{};
    SystemTimeLE(at, &time);
    return time;
}

bool ByteView::SystemTimeLE(size_t at, SystemTime* value) const {
    const uint8_t* bytes = Bytes(at, SystemTimeBytes);
    if (bytes == nullptr) {
        *value = SystemTime{};
        return false;
    }
    *value = LoadSystemTime(bytes);
    return true;
}

bool ByteReader::Seek(size_t newPosition) {
    if (failed || newPosition > view.Size()) {
        failed = true;
        return false;
    }
    position = newPosition;
    return true;
}

ByteView ByteReader::Bytes(size_t count) {
    size_t at = Claim(count);
    return at != ByteView::npos ? ByteView(view.Data() + at, count) : ByteView();
}

bool ByteReader::SkipIfMatches(std::string_view tag) {
    if (failed || !view.Matches(position, tag)) {
        return false;
    }
    position += tag.size();
    return true;
}

bool ByteReader::Text(size_t count, char* out, size_t outSize) {
    size_t at = Claim(count);
    if (at == ByteView::npos) {
        out[0] = '\0';
        return false;
    }
    CopyText(out, outSize, view.Data() + at, count);
    return true;
}

uint64_t ByteReader::BcdRun(size_t count) {
    size_t at = Claim(count);
    uint64_t value = 0;
    if (at != ByteView::npos && !view.BcdRun(at, count, &value)) {
        failed = true;
    }
    return value;
}

SystemTime ByteReader::SystemTimeLE() {
    size_t at = Claim(SystemTimeBytes);
    return at != ByteView::npos ? view.SystemTimeLE(at) : SystemTime{};
}

} // namespace Vorn::Vorncast::Decoders
