#include "core/client/FileHandler.h"
#include "core/client/ScriptedFiles.h"
#include "model/files/File.h"
#include "model/files/FileSystemNative.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using ClientTests::ScriptedFiles;
namespace Client = Vorn::Vorncast::Decoders;

// Each layer behind one face: Seek gives the new position, Read the bytes delivered; each gives
// the layer's own answer for a refused call.
class HandlerLayer {
public:
    static constexpr int64_t Refused = 0;
    static constexpr bool SeeksPastTheEnd = true;
    bool Open(const char* name) {
        handler = std::make_unique<Client::FileHandler>(name);
        return handler->Open();
    }
    int64_t Seek(int64_t offset, int whence) { return handler->Seek(offset, whence); }
    int64_t Read(int32_t count, uint8_t* buffer) { return handler->Read(count, buffer); }

private:
    std::unique_ptr<Client::FileHandler> handler;
};

class FileSystemLayer {
public:
    static constexpr int64_t Refused = -1;
    static constexpr bool SeeksPastTheEnd = true;
    ~FileSystemLayer() { fileSystem.Close(handle); }
    bool Open(const char* name) {
        handle = fileSystem.Open(name);
        return handle != nullptr && handle->IsOpen();
    }
    int64_t Seek(int64_t offset, int whence) { return fileSystem.Seek(handle, offset, whence); }
    int64_t Read(int32_t count, uint8_t* buffer) { return fileSystem.Read(handle, count, buffer, count); }

private:
    Vorn::FileSystemNative fileSystem;
    Vorn::FileHandle* handle = nullptr;
};

class FileLayer {
public:
    static constexpr int64_t Refused = -1;
    static constexpr bool SeeksPastTheEnd = false;
    bool Open(const char* name) { return file.Open(nullptr, name) == 0; }
    int64_t Seek(int64_t offset, int whence) {
        uint64_t position = 0;
        return file.Seek(offset, whence, &position) == 0 ? static_cast<int64_t>(position) : Refused;
    }
    int64_t Read(int32_t count, uint8_t* buffer) {
        uint32_t delivered = 0;
        return file.Read(buffer, count, &delivered) == 0 ? delivered : Refused;
    }

private:
    Vorn::File file;
};

template <typename Layer> class FileLayerContract : public ::testing::Test {
protected:
    void SetUp() override {
        files.AddPatterned("data.bin", 100);
        ASSERT_TRUE(layer.Open("data.bin"));
    }
    static void ExpectPattern(const std::vector<uint8_t>& bytes, int64_t from, int64_t count) {
        for (int64_t index = 0; index < count; ++index) {
            EXPECT_EQ(bytes[static_cast<size_t>(index)], ScriptedFiles::Pattern(from + index)) << index;
        }
    }

    ScriptedFiles files;
    Layer layer;
};

using Layers = ::testing::Types<HandlerLayer, FileSystemLayer, FileLayer>;
TYPED_TEST_SUITE(FileLayerContract, Layers);

TYPED_TEST(FileLayerContract, ShortReadAtTheEndZeroFillsUpToTheCountOnly) {
    std::vector<uint8_t> buffer(12, 0xEE);
    ASSERT_EQ(this->layer.Seek(95, 0), 95);
    EXPECT_EQ(this->layer.Read(10, buffer.data()), 5);
    this->ExpectPattern(buffer, 95, 5);
    EXPECT_EQ(buffer, std::vector<uint8_t>({buffer[0], buffer[1], buffer[2], buffer[3], buffer[4], 0, 0, 0, 0,
                                            0, 0xEE, 0xEE}));
}

TYPED_TEST(FileLayerContract, SeeksCountFromEachOriginAndRefuseNegativePositions) {
    using Layer = TypeParam;
    EXPECT_EQ(this->layer.Seek(40, 0), 40);
    EXPECT_EQ(this->layer.Seek(-15, 1), 25);
    EXPECT_EQ(this->layer.Seek(-10, 2), 90);
    EXPECT_EQ(this->layer.Seek(-1, 0), Layer::Refused);
    EXPECT_EQ(this->layer.Seek(-91, 1), Layer::Refused);
    EXPECT_EQ(this->layer.Seek(1, 3), Layer::Refused) << "unknown origin";
    EXPECT_EQ(this->layer.Seek(20, 2), Layer::SeeksPastTheEnd ? 120 : Layer::Refused);
}

TYPED_TEST(FileLayerContract, RefusedReadsTouchNothingAndOthersContinue) {
    using Layer = TypeParam;
    std::vector<uint8_t> buffer(4, 0xEE);
    EXPECT_EQ(this->layer.Read(0, buffer.data()), Layer::Refused);
    EXPECT_EQ(this->layer.Read(-1, buffer.data()), Layer::Refused);
    EXPECT_EQ(this->layer.Read(4, nullptr), Layer::Refused);
    EXPECT_EQ(buffer, std::vector<uint8_t>(4, 0xEE));
    EXPECT_EQ(this->layer.Read(4, buffer.data()), 4);
    this->ExpectPattern(buffer, 0, 4);
    EXPECT_EQ(this->layer.Read(4, buffer.data()), 4) << "a read goes on where the last ended";
    this->ExpectPattern(buffer, 4, 4);
}

} // namespace
