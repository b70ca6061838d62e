// Built apart with ThreadSanitizer (see `./run test`): the LJD Leviathan worker driven from the
// caller's thread as the decoder drives it, over the stand-in picture library beside this program.
// Requests, results and the picture buffer pass between the two threads; the sanitizer reports any
// access that the lock and the events do not order.
#include "formats/ljd/LjdLeviathanDll.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr int32_t Width = 8;
constexpr int32_t Height = 4;

// Frames alternate between two cameras; every third frame of a camera is a key frame.
std::string WriteStore(int32_t frames) {
    std::vector<uint8_t> store;
    for (int32_t index = 0; index < frames; ++index) {
        const uint32_t size = 24 + Width * Height * 3;
        // Size (little-endian) at 4, camera at 16, width at 17, height at 19, key flag at 21.
        uint8_t header[24] = {};
        header[4] = static_cast<uint8_t>(size);
        header[5] = static_cast<uint8_t>(size >> 8);
        header[16] = static_cast<uint8_t>(index % 2);
        header[17] = Width;
        header[19] = Height;
        header[21] = index / 2 % 3 == 0 ? 2 : 0;
        store.insert(store.end(), header, header + 24);
        store.insert(store.end(), Width * Height * 3, static_cast<uint8_t>(index));
    }
    const std::string path = "/tmp/vorncast_tsan_" + std::to_string(getpid()) + ".vmb";
    FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(store.data(), 1, store.size(), file);
    std::fclose(file);
    return path;
}

void Ignore(void*, const char*) {}

int32_t KeyOf(int32_t frame) {
    const int32_t camera = frame % 2;
    return (frame / 2 / 3 * 3) * 2 + camera;
}

TEST(LjdWorkerRace, RequestsAndPicturesPassBetweenTheThreads) {
    const std::string path = WriteStore(24);
    WaitEvent complete;
    std::vector<uint8_t> picture(Width * Height * 3);
    {
        LjdLeviathanDll dll(complete, Ignore, nullptr);
        ASSERT_TRUE(dll.Open(path.c_str()));
        EXPECT_FALSE(dll.Read(0, 0, 0, picture.data(), static_cast<int32_t>(picture.size())));
        complete.Wait();
        int32_t width = 0, height = 0;
        ASSERT_TRUE(dll.GetOpenResult(&width, &height));
        EXPECT_EQ(width, Width);
        for (int32_t frame : {0, 2, 2, 4, 1, 3, 6, 5, 11, 10, 10}) {
            ASSERT_TRUE(dll.Read(frame % 2, KeyOf(frame), frame, picture.data(),
                                 static_cast<int32_t>(picture.size())));
            EXPECT_FALSE(dll.Close());
            complete.Wait();
            ASSERT_TRUE(dll.GetReadResult()) << frame;
            EXPECT_EQ(picture[0], frame);
        }
        // Going away with a read in hand waits for it when it has begun; one that has not is
        // dropped, as the stop request is taken first. Either way the picture is left alone after.
        ASSERT_TRUE(dll.Read(1, KeyOf(23), 23, picture.data(), static_cast<int32_t>(picture.size())));
    }
    EXPECT_TRUE(picture[0] == 23 || picture[0] == 10) << int{picture[0]};
    std::remove(path.c_str());
}

} // namespace
