#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "image/get_image.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output_file.h"
#include "tools/talvdicom/picture.h"
#include "tools/talvdicom/png_writer.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
std::filesystem::path FramePath(const std::filesystem::path& directory, int64_t frame, const char* extension)
{
    char name[48];
    std::snprintf(name, sizeof name, "frame-%05lld.%s", static_cast<long long>(frame), extension);
    return directory / name;
}

/// Bitmap rows as they are, top row first, and the palette beside them.
bool WriteRaw(ImageBitmap* bitmap, const std::filesystem::path& directory, int64_t frame)
{
    const size_t rowBytes = bitmap->bytesPerLine;
    std::vector<uint8_t> rows(rowBytes * size_t(bitmap->height));
    for (int32_t y = 0; y < bitmap->height; ++y)
        if (GetBitmapRow(bitmap, rows.data() + size_t(y) * rowBytes, y, bitmap->bytesPerLine) < 0)
            return false;
    if (!WriteWholeFile(FramePath(directory, frame, "raw"), rows)) return false;
    if (bitmap->palette == nullptr || bitmap->colorCount == 0) return true;

    std::vector<uint8_t> entries;
    for (uint32_t i = 0; i < bitmap->colorCount; ++i) {
        const PaletteEntry& entry = bitmap->palette[i];
        entries.insert(entries.end(), {entry.blue, entry.green, entry.red, 0});
    }
    return WriteWholeFile(FramePath(directory, frame, "pal"), entries);
}

std::string FrameName(int64_t frame)
{
    return "frame " + std::to_string(frame);
}
}  // namespace

int RunFrames(const std::string& file, const FramesOptions& options)
{
    OpenedFile opened;
    if (!opened.OpenForFrames(file)) return Complain(file, opened.refusal);
    const int64_t count = opened.FramesToDecode();
    const int64_t first = options.first.value_or(0);
    const int64_t last = std::min(options.last.value_or(count - 1), count - 1);
    if (first > last) return Complain(file, "there are " + std::to_string(count) + " frames, counted from 0");

    const std::filesystem::path directory = PathFromArgument(options.directory);
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (!std::filesystem::is_directory(directory, error))
        return Complain(file, "the folder " + options.directory + " cannot be made");

    GreyView view = ChooseView(opened.source);
    Progress progress("frame", last - first + 1);
    Picture picture;
    int result = kDone;
    for (int64_t frame = first; frame <= last; ++frame) {
        progress.Show(frame - first);
        DecodedFrame decoded(opened.source, frame);
        if (decoded.Status() != kDicomOk) {
            progress.Clear();
            result = Complain(file, FrameName(frame) + ": " + DicomStatusText(decoded.Status()));
            continue;
        }
        if (!options.raw && !DrawBitmap(decoded.Bitmap(), &view, &picture)) {
            progress.Clear();
            result = Complain(file, FrameName(frame) + ": no picture can be made of it");
            continue;
        }
        const bool written = options.raw
                                 ? WriteRaw(decoded.Bitmap(), directory, frame)
                                 : WriteWholeFile(FramePath(directory, frame, "png"), EncodePng(picture));
        if (!written) {
            progress.Clear();
            return Complain(file, FrameName(frame) + ": the file cannot be written");
        }
    }
    return result;
}
}  // namespace talv
