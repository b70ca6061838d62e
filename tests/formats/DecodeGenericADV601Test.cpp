#include "formats/GenericFormatFixture.h"

#include "codecs/adv601/ADV601Decoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/GenericRecordings.h"
#include "formats/DecodeGenericADV601.h"

using namespace GenericFormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr const char* Path = "/rec/stream.601";
constexpr int64_t FortyMilliseconds = 400000;

std::vector<uint8_t> Field(const Adv601TestPicture& picture, bool reversedWords = false) {
    return EncodeAdv601(picture.bgr.data(), {}, reversedWords);
}

// The test pictures, each a field of its own.
std::vector<Adv601TestPicture> Pictures() {
    return {Adv601Gradient(true), Adv601ColourBars(true), Adv601Edges(true), Adv601Flat(true, 40, 160, 220)};
}

std::vector<std::vector<uint8_t>> Fields(const std::vector<Adv601TestPicture>& pictures) {
    std::vector<std::vector<uint8_t>> fields;
    for (const Adv601TestPicture& picture : pictures) {
        fields.push_back(Field(picture));
    }
    return fields;
}

// What the codec makes of the field on its own.
std::vector<uint8_t> DecodeDirectly(std::vector<uint8_t> field) {
    std::vector<uint8_t> picture(ADV601Decoder::OutputSize(true));
    ADV601Decoder decoder;
    EXPECT_TRUE(
        decoder.Decode(true, false, field.data(), static_cast<int32_t>(field.size()), picture.data()));
    return picture;
}

class GenericAdv601Test : public GenericFormatTest {
protected:
    FileClientResult LoadFile(const std::vector<uint8_t>& bytes) {
        AddFile(Path, bytes);
        return Load(GenericAdv601Guid, Path);
    }
};

} // namespace

TEST_F(GenericAdv601Test, FieldsDecodeAtFixedSizeFortyMillisecondsApart) {
    std::vector<Adv601TestPicture> pictures = Pictures();
    std::vector<std::vector<uint8_t>> fields = Fields(pictures);
    fields[2] = Field(pictures[2], true);
    ASSERT_EQ(LoadFile(Concatenate(fields, 12).bytes), FCR_SUCCESS);
    EXPECT_EQ(image.width, 720);
    EXPECT_EQ(image.height, 288);
    EXPECT_EQ(image.planes, 3);
    ASSERT_EQ(totalFrames, 4) << "a field stored with reversed words is found too";
    EXPECT_EQ(client->OpenFileCount(), 1) << "the file stays open while loaded";

    for (int32_t index : {0, 1, 2, 3, 1}) {
        Frame frame = GetFrame(index);
        ASSERT_EQ(frame.result, FCR_SUCCESS) << index;
        EXPECT_EQ(frame.times.recordedTime, 0);
        EXPECT_EQ(frame.times.streamTime, index * FortyMilliseconds);
        EXPECT_EQ(frame.camera, 0);
        EXPECT_TRUE(frame.picture == DecodeDirectly(fields[static_cast<size_t>(index)])) << index;
        EXPECT_GT(Adv601Psnr(pictures[static_cast<size_t>(index)].bgr, frame.picture), 40.0) << index;
    }

    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 0), 0);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 2 * FortyMilliseconds + 1), 2);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 10 * FortyMilliseconds), 3);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, -1), -1);
    EXPECT_EQ(Capi::GetNextFrame(client, 2, 0), 3);
    EXPECT_EQ(Capi::GetNextFrame(client, 3, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 0, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 8, 0), 3);
    uint8_t mask[CameraMaskBytes] = {};
    Capi::GetCameras(client, mask);
    EXPECT_EQ(mask[0], 1);

    EXPECT_TRUE(Capi::Close(client));
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_TRUE(NoFileWasLeftOpen());
}

TEST_F(GenericAdv601Test, DelimitersCountOnWordPositionsAlsoAcrossTwoReads) {
    std::vector<Adv601TestPicture> pictures = Pictures();
    std::vector<std::vector<uint8_t>> fields = Fields(pictures);
    // Field 0's all-ones word ends one read and its type word begins the next; field 2 lies two
    // bytes off the word grid and is taken for a part of field 1.
    std::vector<uint8_t> stream;
    AppendFiller(stream, 1020);
    for (size_t index = 0; index < fields.size(); ++index) {
        if (index == 2 || index == 3) {
            AppendFiller(stream, 2);
        }
        stream.insert(stream.end(), fields[index].begin(), fields[index].end());
    }
    ASSERT_EQ(LoadFile(stream), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 3);
    EXPECT_TRUE(GetFrame(0).picture == DecodeDirectly(fields[0]));
    EXPECT_TRUE(GetFrame(1).picture == DecodeDirectly(fields[1]));
    EXPECT_TRUE(GetFrame(2).picture == DecodeDirectly(fields[3]));
}

TEST_F(GenericAdv601Test, ThreeGoodFramesAreTheLeastThatLoad) {
    std::vector<std::vector<uint8_t>> fields = Fields(Pictures());
    fields.resize(2);
    EXPECT_EQ(LoadFile(Concatenate(fields).bytes), FCR_FAILURE);
    EXPECT_TRUE(WasLogged("DecodeGenericADV601 Insufficient good frames\n"));
    EXPECT_EQ(client->OpenFileCount(), 0);

    fields = Fields(Pictures());
    fields.resize(3);
    ASSERT_EQ(LoadFile(Concatenate(fields).bytes), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 3);
    for (int32_t index = 0; index < 3; ++index) {
        FrameTimes times = {};
        int32_t frames = 0, camera = -1;
        ASSERT_EQ(Capi::GetFrameInfo(client, index, &times, nullptr, &frames, nullptr, &camera, nullptr),
                  FCR_SUCCESS);
        EXPECT_EQ(times.streamTime, index * FortyMilliseconds);
    }
}

TEST_F(GenericAdv601Test, AnOversizedFrameIsClampedAndDoesNotCountAsGood) {
    std::vector<Adv601TestPicture> pictures = Pictures();
    std::vector<std::vector<uint8_t>> fields = Fields(pictures);
    // Field 1 is followed by so much filler that its frame exceeds the largest field.
    std::vector<uint8_t> stream;
    for (size_t index = 0; index < fields.size(); ++index) {
        stream.insert(stream.end(), fields[index].begin(), fields[index].end());
        if (index == 1) {
            AppendFiller(stream, DecodeGenericADV601::MaxFrameSize);
        }
    }
    ASSERT_EQ(LoadFile(stream), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 4);
    Frame clamped = GetFrame(1);
    ASSERT_EQ(clamped.result, FCR_SUCCESS) << "the first MaxFrameSize bytes hold the whole field";
    EXPECT_TRUE(clamped.picture == DecodeDirectly(fields[1]));

    ASSERT_TRUE(Capi::Close(client));
    fields.resize(3);
    stream.clear();
    for (size_t index = 0; index < fields.size(); ++index) {
        stream.insert(stream.end(), fields[index].begin(), fields[index].end());
        if (index == 1) {
            AppendFiller(stream, DecodeGenericADV601::MaxFrameSize);
        }
    }
    EXPECT_EQ(LoadFile(stream), FCR_FAILURE);
    EXPECT_TRUE(WasLogged("DecodeGenericADV601 Insufficient good frames\n"));
}
