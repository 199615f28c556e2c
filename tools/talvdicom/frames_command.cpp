#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/output_file.h"
#include "tools/talvdicom/picture.h"
#include "tools/talvdicom/png_writer.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
/// Pictures are numbered from 1, raw frames from 0.
std::filesystem::path FramePath(const std::filesystem::path& directory, int64_t frame, const char* extension)
{
    const bool picture = std::string(extension) == "png";
    char name[48];
    std::snprintf(name, sizeof name, "frame-%05lld.%s", static_cast<long long>(frame + (picture ? 1 : 0)),
                  extension);
    return directory / name;
}

/// Bitmap rows as they are, top row first, and the palette beside them. An error message, or nothing.
std::string WriteRaw(ImageBitmap* bitmap, const std::filesystem::path& directory, int64_t frame,
                     bool overwrite)
{
    const size_t rowBytes = bitmap->bytesPerLine;
    std::vector<uint8_t> rows(rowBytes * size_t(bitmap->height));
    for (int32_t y = 0; y < bitmap->height; ++y)
        if (GetBitmapRow(bitmap, rows.data() + size_t(y) * rowBytes, y, bitmap->bytesPerLine) < 0)
            return "its rows cannot be read";
    if (std::string error = WriteWholeFile(FramePath(directory, frame, "raw"), rows, overwrite);
        !error.empty())
        return error;
    if (bitmap->palette == nullptr || bitmap->colorCount == 0) return {};

    std::vector<uint8_t> entries;
    for (uint32_t i = 0; i < bitmap->colorCount; ++i) {
        const PaletteEntry& entry = bitmap->palette[i];
        entries.insert(entries.end(), {entry.blue, entry.green, entry.red, 0});
    }
    return WriteWholeFile(FramePath(directory, frame, "pal"), entries, overwrite);
}

/// The frames that the options name, counted from 0, each once.
std::vector<int64_t> ChosenFrames(const FramesOptions& options, int64_t count)
{
    if (options.first || options.last)
        return SelectFrames({{options.first.value_or(0) + 1, options.last.value_or(count - 1) + 1}}, count);
    std::vector<int64_t> frames = SelectFrames(options.ranges, count);
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

/// The folder for the files, made when it is missing. An error message, or nothing.
std::string PrepareFolder(const std::filesystem::path& directory, const FramesOptions& options,
                          const std::vector<int64_t>& frames)
{
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (!std::filesystem::is_directory(directory))
        return "the folder " + options.directory + " cannot be made" + (error ? ": " + error.message() : "");
    // All or nothing: a file that is in the way is told before the first one is written.
    for (const int64_t frame : frames) {
        if (options.overwrite) break;
        const auto path = FramePath(directory, frame, options.raw ? "raw" : "png");
        if (std::filesystem::exists(path, error))
            return path.filename().string() + " is already in " + options.directory + "; -y writes over it";
    }
    return {};
}

/// What became of one frame; `error` names the frame and is empty when all went well.
struct FrameOutcome
{
    std::string error;
    bool goOn = true;  ///< false where the next frame would fare no better
};

FrameOutcome WriteFrame(OpenedFile* opened, const FramesOptions& options,
                        const std::filesystem::path& directory, int64_t frame, GreyView* view,
                        Picture* picture)
{
    DecodedFrame decoded(opened->source, frame);
    if (decoded.Status() != kDicomOk) return {opened->FrameRefusal(frame, decoded.Status())};
    if (!options.raw) UseFrame(opened, frame, view);
    if (!options.raw && !DrawBitmap(decoded.Bitmap(), view, options.sixteenBits, picture))
        return {FrameWords(frame) + ": no picture can be made of it; --raw writes its rows"};
    const std::string error = options.raw ? WriteRaw(decoded.Bitmap(), directory, frame, options.overwrite)
                                          : WriteWholeFile(FramePath(directory, frame, "png"),
                                                           EncodePng(*picture), options.overwrite);
    if (error.empty()) return {};
    return {FrameWords(frame) + " of " + options.directory + ": " + error, false};
}
}  // namespace

int RunFrames(const std::string& file, const FramesOptions& options)
{
    OpenedFile opened;
    if (!opened.OpenForFrames(file)) return Complain(file, opened.refusal);
    const int64_t count = opened.FramesToDecode();
    const std::vector<int64_t> frames = ChosenFrames(options, count);
    if (frames.empty())
        return Complain(file, "the chosen frames are not there: the file has " + std::to_string(count));

    const std::filesystem::path directory = PathFromArgument(options.directory);
    if (const std::string error = PrepareFolder(directory, options, frames); !error.empty())
        return Complain(file, error);
    GreyView view;
    std::string refusal;
    if (!options.raw && !MakeGreyView(&opened, options.window, options.sixteenBits, frames, &view, &refusal))
        return Complain(file, refusal);

    Progress progress("frame", static_cast<int64_t>(frames.size()));
    Picture picture;
    int result = kDone;
    for (size_t i = 0; i < frames.size() && !Interrupted(); ++i) {
        progress.Show(static_cast<int64_t>(i));
        const FrameOutcome outcome = WriteFrame(&opened, options, directory, frames[i], &view, &picture);
        if (outcome.error.empty()) continue;
        progress.Clear();
        if (!Interrupted()) result = Complain(file, outcome.error);
        if (!outcome.goOn) break;
    }
    return result;
}
}  // namespace talv
