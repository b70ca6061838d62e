#pragma once

// SHA-256 of byte runs and of whole files, printed as 64 lower-case hexadecimal digits.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct AVSHA;

namespace VorncastTool {

class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Update(const uint8_t* bytes, size_t count);
    // The digest of everything given so far; the object is spent afterwards.
    std::string HexDigest();

private:
    AVSHA* context;
};

std::string Sha256OfBytes(const uint8_t* bytes, size_t count);

struct FileDigest {
    uint64_t size = 0;
    std::string sha256;
};
// Reads the file read-only from start to end. Throws std::runtime_error naming the file when it cannot
// be read.
FileDigest DigestFile(const std::string& path);

} // namespace VorncastTool
