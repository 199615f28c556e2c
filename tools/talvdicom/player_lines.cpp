#include "tools/talvdicom/player_lines.h"

namespace talv {
namespace {
/// `text` as one word of a shell.
std::string Quoted(const std::string& text)
{
    const char* const plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:\\";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

const char* FormatName(VideoFormat format)
{
    switch (format) {
        case VideoFormat::bgr24:
            return "bgr24";
        case VideoFormat::rgb24:
            return "rgb24";
        case VideoFormat::gray:
            return "gray";
        case VideoFormat::gray16le:
            return "gray16le";
        case VideoFormat::y4m:
            break;
    }
    return "y4m";
}

/// The options of the stream that change its pictures.
std::string StreamWords(const StreamOptions& options)
{
    std::string words;
    if (options.format != VideoFormat::y4m) words += std::string(" --format ") + FormatName(options.format);
    if (!options.framesText.empty()) words += " --frames " + options.framesText;
    if (!options.windowText.empty()) words += " --window " + options.windowText;
    if (options.sweep) words += " --sweep";
    return words;
}
}  // namespace

std::string PlayerLines(const std::string& file, const StreamOptions& options, const VideoShape& shape)
{
    const std::string stream = "talvdicom stream " + Quoted(file) + StreamWords(options);
    const std::string loops = options.loops == 1 ? "" : " --loop " + std::to_string(options.loops);
    const std::string size = std::to_string(shape.width) + "x" + std::to_string(shape.height);
    std::string ffmpegInput = "-f yuv4mpegpipe -i -", mpvInput = "-";
    if (shape.format != VideoFormat::y4m) {
        const std::string name = FormatName(shape.format);
        ffmpegInput = "-f rawvideo -pixel_format " + name + " -video_size " + size + " -framerate " +
                      RateText(shape, '/') + " -i -";
        mpvInput = "--demuxer=rawvideo --demuxer-rawvideo-w=" + std::to_string(shape.width) +
                   " --demuxer-rawvideo-h=" + std::to_string(shape.height) +
                   " --demuxer-rawvideo-mp-format=" + name + " --demuxer-rawvideo-fps=" +
                   std::to_string(1e7 / static_cast<double>(shape.frameTimeUnits)) + " -";
    }
    // Most players of MP4 files want 4:2:0, which has even sizes only.
    const bool odd = ((shape.width | shape.height) & 1) != 0;
    const std::string pad = odd ? " -vf \"pad=ceil(iw/2)*2:ceil(ih/2)*2\"" : "";
    const std::string endless = options.loops == 0 ? " --loop 1" : loops;
    return stream + loops + " --max-speed | ffplay -autoexit " + ffmpegInput + "\n" + stream + loops +
           " --max-speed | mpv " + mpvInput + "\n" + stream + endless + " --max-speed | ffmpeg " +
           ffmpegInput + pad + " -pix_fmt yuv420p clip.mp4\n";
}
}  // namespace talv
