// `vorncast sheet`: a contact sheet of the recording, one row per camera, thumbnails spread over the
// recording with their recorder times.

#include "support/BitmapFont.h"
#include "support/FrameSelection.h"
#include "support/OutputFiles.h"
#include "support/PngFile.h"
#include "support/RecorderTime.h"
#include "support/Terminal.h"
#include "vorncast/Commands.h"
#include "vorncast/Frames.h"
#include "vorncast/Report.h"

#include <cstdio>
#include <filesystem>

namespace VorncastTool {

namespace {

constexpr int32_t Margin = 8;
constexpr Colour Paper = {40, 40, 40};
constexpr Colour Ink = {235, 235, 235};
constexpr Colour Dim = {170, 170, 170};

struct SheetLayout {
    int32_t columns = 6;
    int32_t thumbWidth = 192;
    int32_t thumbHeight = 144;
    int32_t rowHeight() const {
        return TextHeight(2) + Margin / 2 + thumbHeight + TextHeight(1) + 2 * Margin;
    }
    int32_t width() const { return Margin + columns * (thumbWidth + Margin); }
    int32_t titleHeight() const { return TextHeight(2) + TextHeight(1) + 3 * Margin; }
    int32_t CellX(int32_t column) const { return Margin + column * (thumbWidth + Margin); }
};

std::vector<const StreamRef*> VideoStreams(const Recording& recording) {
    std::vector<const StreamRef*> streams;
    for (const StreamRef& stream : recording.Streams()) {
        if (stream.IsVideo()) {
            streams.push_back(&stream);
        }
    }
    return streams;
}

// The text cut to what fits in `width` pixels at `scale`.
std::string Fit(const std::string& text, int32_t width, int32_t scale) {
    const size_t fits = static_cast<size_t>(std::max(0, width / (GlyphCellWidth * scale)));
    return text.size() <= fits ? text : text.substr(0, fits);
}

void DrawThumbnail(Picture& sheet, const SheetLayout& layout, int32_t x, int32_t y, const Picture& picture) {
    int32_t width = 0, height = 0;
    FitInside(picture.width, picture.height, layout.thumbWidth, layout.thumbHeight, width, height);
    FillRectangle(sheet, x, y, layout.thumbWidth, layout.thumbHeight, {0, 0, 0});
    Blit(Scale(picture, width, height), sheet, x + (layout.thumbWidth - width) / 2,
         y + (layout.thumbHeight - height) / 2);
}

void DrawRow(Picture& sheet, const SheetLayout& layout, int32_t top, const StreamRef& stream,
             ProgressBar& bar, int64_t& done, int64_t total) {
    const std::vector<FrameEntry> frames = ListFrames(stream);
    const std::string label = CameraLabel(stream) + "  (stream " + std::to_string(stream.index) + ", " +
                              std::to_string(frames.size()) + " frames)";
    DrawText(sheet, Margin, top + Margin, Fit(label, sheet.width - 2 * Margin, 2), 2, Ink);
    const int32_t thumbTop = top + Margin + TextHeight(2) + Margin / 2;
    const std::vector<size_t> picks = SpreadPositions(frames.size(), static_cast<size_t>(layout.columns));
    int32_t column = 0;
    VisitFrames(stream, picks, [&](size_t position, StreamReader& reader, Sample& sample) {
        const int32_t x = layout.CellX(column++);
        DrawThumbnail(sheet, layout, x, thumbTop, PictureOf(reader, sample));
        const std::string time = FormatRecorderTime(frames[position].time.recordedTime);
        DrawText(sheet, x, thumbTop + layout.thumbHeight + 3, Fit(time, layout.thumbWidth, 1), 1, Dim);
        bar.Step(++done, total);
    });
    if (frames.empty()) {
        DrawText(sheet, Margin, thumbTop + Margin, "no frames", 1, Dim);
    }
}

void DrawTitle(Picture& sheet, const Recording& recording, int32_t cameras) {
    const std::string title = std::filesystem::path(recording.Path()).filename().string();
    const std::string subtitle = recording.Decoder().name + ", " + std::to_string(cameras) + " camera" +
                                 (cameras == 1 ? "" : "s") + ", read by vorncast";
    DrawText(sheet, Margin, Margin, Fit(title, sheet.width - 2 * Margin, 2), 2, Ink);
    DrawText(sheet, Margin, 2 * Margin + TextHeight(2), Fit(subtitle, sheet.width - 2 * Margin, 1), 1, Dim);
}

} // namespace

int RunSheet(const CommandContext& context) {
    const Arguments& arguments = context.arguments;
    const std::string& path = arguments.Required(0, "PATH of a recording");
    const std::string& out = arguments.Required(1, "OUT.png");
    arguments.ExpectAtMost(2);
    SheetLayout layout;
    layout.columns = static_cast<int32_t>(arguments.Integer("columns", 6, 1, 64));
    layout.thumbWidth = static_cast<int32_t>(arguments.Integer("width", 192, 32, 1024));
    layout.thumbHeight = layout.thumbWidth * 3 / 4;
    RefuseOutputInsideRecording(path, out);

    const std::unique_ptr<Recording> recording = OpenRecording(context, path);
    const std::vector<const StreamRef*> streams = VideoStreams(*recording);
    if (streams.empty()) {
        throw std::runtime_error(path + " holds no pictures");
    }
    const int32_t rows = static_cast<int32_t>(streams.size());
    Picture sheet = Picture::Blank(layout.width(), layout.titleHeight() + rows * layout.rowHeight(), Paper);
    DrawTitle(sheet, *recording, rows);
    ProgressBar bar("sheet");
    int64_t done = 0;
    const int64_t total = static_cast<int64_t>(rows) * layout.columns;
    for (int32_t row = 0; row < rows; ++row) {
        DrawRow(sheet, layout, layout.titleHeight() + row * layout.rowHeight(),
                *streams[static_cast<size_t>(row)], bar, done, total);
    }
    bar.Finish();
    const std::filesystem::path parent = std::filesystem::path(out).parent_path();
    if (!parent.empty()) {
        std::filesystem::create_directories(parent);
    }
    WritePng(out, sheet);
    std::printf("wrote contact sheet %s (%d x %d, %d camera%s)\n", out.c_str(), sheet.width, sheet.height,
                rows, rows == 1 ? "" : "s");
    return ExitSuccess;
}

} // namespace VorncastTool
