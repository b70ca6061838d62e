#include "tools/ToolTestSupport.h"

#include "fixtures/formats/GenericRecordings.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <png.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace ToolTests {

namespace fs = std::filesystem;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

ToolRun Spawn(const std::vector<std::string>& command,
              std::optional<std::chrono::milliseconds> interruptAfter = std::nullopt) {
    const fs::path capture = fs::temp_directory_path() / ("vorncast-capture-" + std::to_string(getpid()));
    const std::string outPath = capture.string() + ".out", errPath = capture.string() + ".err";
    const pid_t child = fork();
    if (child == 0) {
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        std::vector<char*> argv;
        for (const std::string& word : command) {
            argv.push_back(const_cast<char*>(word.c_str()));
        }
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    if (interruptAfter) {
        std::this_thread::sleep_for(*interruptAfter);
        kill(child, SIGINT);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ToolRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out = ReadText(outPath);
    run.err = ReadText(errPath);
    fs::remove(outPath);
    fs::remove(errPath);
    return run;
}

} // namespace

ToolRun RunTool(const std::vector<std::string>& arguments,
                std::optional<std::chrono::milliseconds> interruptAfter) {
    std::vector<std::string> command = {VORNCAST_TOOL};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Spawn(command, interruptAfter);
}

nlohmann::json RunToolJson(const std::vector<std::string>& arguments) {
    const ToolRun run = RunTool(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.exitCode == 0 ? nlohmann::json::parse(run.out) : nlohmann::json();
}

std::string RunProgram(const std::vector<std::string>& arguments) {
    return Spawn(arguments).out;
}

std::string ReadText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

nlohmann::json ReadJson(const fs::path& path) {
    return nlohmann::json::parse(ReadText(path));
}

std::string SystemSha256(const fs::path& path) {
    return RunProgram({"sha256sum", path.string()}).substr(0, 64);
}

VorncastTool::Picture ReadPng(const fs::path& path) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    VorncastTool::Picture picture;
    if (!png_image_begin_read_from_file(&image, path.string().c_str())) {
        ADD_FAILURE() << "cannot read " << path << ": " << image.message;
        return picture;
    }
    image.format = PNG_FORMAT_BGR;
    picture.width = static_cast<int32_t>(image.width);
    picture.height = static_cast<int32_t>(image.height);
    picture.bytes.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, picture.bytes.data(), 0, nullptr)) {
        ADD_FAILURE() << "cannot decode " << path << ": " << image.message;
    }
    return picture;
}

double MeanDifference(const std::vector<uint8_t>& expected, const VorncastTool::Picture& actual) {
    if (expected.size() != actual.bytes.size()) {
        ADD_FAILURE() << "picture sizes differ";
        return 1e9;
    }
    double sum = 0;
    for (size_t index = 0; index < expected.size(); ++index) {
        sum += std::abs(static_cast<int>(expected[index]) - static_cast<int>(actual.bytes[index]));
    }
    return sum / static_cast<double>(expected.size());
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void ToolTest::SetUp() {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(name.begin(), name.end(), '/', '-');
    folder = fs::temp_directory_path() / ("vorncast-tool-" + std::to_string(getpid()) + "-" + name);
    fs::remove_all(folder);
    fs::create_directories(folder / "recording");
    home = fs::current_path();
    fs::current_path(folder / "recording");
}

void ToolTest::TearDown() {
    fs::current_path(home);
    fs::remove_all(folder);
}

std::string ToolTest::WriteJpegRecording(int32_t count, int32_t width, int32_t height) {
    std::vector<std::vector<uint8_t>> jpegs;
    for (int32_t index = 0; index < count; ++index) {
        pictures.push_back(MakeScenePicture(width, height, static_cast<uint32_t>(index + 1)));
        jpegs.push_back(EncodeTestJpeg(pictures.back(), 95));
    }
    // Whole 4096-byte blocks, so that the marker scan reads no stale bytes at the end.
    const ConcatenatedFile file = Concatenate(jpegs, 0, 4096);
    const fs::path path = folder / "recording" / "recording.mjpeg";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.bytes.data()),
               static_cast<std::streamsize>(file.bytes.size()));
    return path.string();
}

} // namespace ToolTests
