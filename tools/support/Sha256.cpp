#include "support/Sha256.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

namespace VorncastTool {

Sha256::Sha256() : context(av_sha_alloc()) {
    if (context == nullptr || av_sha_init(context, 256) < 0) {
        av_free(context);
        throw std::runtime_error("SHA-256 could not be set up");
    }
}

Sha256::~Sha256() {
    av_free(context);
}

void Sha256::Update(const uint8_t* bytes, size_t count) {
    // The engine takes the length as an unsigned int, so large runs go in pieces.
    constexpr size_t Piece = 1u << 30;
    while (count > 0) {
        const size_t now = count < Piece ? count : Piece;
        av_sha_update(context, bytes, static_cast<unsigned int>(now));
        bytes += now;
        count -= now;
    }
}

std::string Sha256::HexDigest() {
    uint8_t digest[32];
    av_sha_final(context, digest);
    static constexpr char Hex[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : digest) {
        text += Hex[byte >> 4];
        text += Hex[byte & 15];
    }
    return text;
}

std::string Sha256OfBytes(const uint8_t* bytes, size_t count) {
    Sha256 hash;
    hash.Update(bytes, count);
    return hash.HexDigest();
}

FileDigest DigestFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
    }
    Sha256 hash;
    FileDigest digest;
    std::vector<uint8_t> block(1 << 20);
    for (;;) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            const int error = errno;
            close(descriptor);
            throw std::runtime_error("cannot read " + path + ": " + std::strerror(error));
        }
        if (count == 0) {
            break;
        }
        hash.Update(block.data(), static_cast<size_t>(count));
        digest.size += static_cast<uint64_t>(count);
    }
    close(descriptor);
    digest.sha256 = hash.HexDigest();
    return digest;
}

} // namespace VorncastTool
