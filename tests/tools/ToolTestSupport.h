#pragma once

#include "fixtures/formats/TestJpegPictures.h"
#include "support/Picture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ToolTests {

using Vorn::Vorncast::Decoders::Testing::BgrPicture;

struct ToolRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs the tool with `arguments`, standard output and error captured; with `interruptAfter`, SIGINT
// is sent to the tool that long after its start.
ToolRun RunTool(const std::vector<std::string>& arguments,
                std::optional<std::chrono::milliseconds> interruptAfter = std::nullopt);
// Runs the tool, expecting success, and parses what it printed; null after a failure.
nlohmann::json RunToolJson(const std::vector<std::string>& arguments);
std::string RunProgram(const std::vector<std::string>& arguments);
std::string ReadText(const std::filesystem::path& path);
nlohmann::json ReadJson(const std::filesystem::path& path);
// SHA-256 of a file by the system's sha256sum, a hash computed apart from the tool's.
std::string SystemSha256(const std::filesystem::path& path);
// A PNG file decoded to blue-first bytes (grey pictures widened).
VorncastTool::Picture ReadPng(const std::filesystem::path& path);
double MeanDifference(const std::vector<uint8_t>& expected, const VorncastTool::Picture& actual);
std::vector<std::string> Lines(const std::string& text);

constexpr const char* GenericJpeg = "Generic JPEG";

// A fresh folder per test with a recording in its own subfolder "recording", the current directory
// while the test runs.
class ToolTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A file of concatenated JPEGs of `count` distinct pictures; returns its path.
    std::string WriteJpegRecording(int32_t count, int32_t width = 96, int32_t height = 64);
    std::filesystem::path Work(const std::string& name) const { return folder / name; }

    std::filesystem::path folder;
    std::filesystem::path home;
    std::vector<BgrPicture> pictures; // as encoded, in frame order
};

} // namespace ToolTests
