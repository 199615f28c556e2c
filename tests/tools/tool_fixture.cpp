#include "tests/tools/tool_fixture.h"

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>

#include "tests/support/temporary_file.h"

namespace talv {
using nlohmann::json;

std::string Sample(const std::string& name)
{
    return TALV_TEST_DATA "/samples/" + name;
}

json SampleFacts()
{
    const ByteVector text = ReadWholeFile(Sample("samples.json"));
    return json::parse(text.begin(), text.end())["files"];
}

json InfoOf(const std::string& file)
{
    const ToolRun run = RunTool({"info", file, "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "") << file;
    return json::parse(run.out, nullptr, false);
}

void ExpectRefusal(const ToolRun& run, const std::string& file)
{
    EXPECT_EQ(run.status, 1) << file;
    EXPECT_EQ(run.out, "") << file;
    EXPECT_EQ(run.err.rfind("talvdicom: " + file + ": ", 0), 0u) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

bool RefusedForWantOfACodec(const ToolRun& run)
{
    return run.status == 1 && Contains(run.err, ": this build has no decoder for ");
}

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

bool HasProgram(const std::string& name)
{
    return RunShell("command -v " + name).status == 0;
}

PngImage ReadPng(const std::string& path)
{
    PngImage image;
    const ByteVector bytes = ReadWholeFile(path);
    image.bitDepth = bytes.size() > 24 ? bytes[24] : 0;
    png_image reader = {};
    reader.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&reader, path.c_str())) << reader.message;
    reader.format = PNG_FORMAT_RGB;
    image.rgb.resize(PNG_IMAGE_SIZE(reader));
    EXPECT_TRUE(png_image_finish_read(&reader, nullptr, image.rgb.data(), 0, nullptr)) << reader.message;
    image.width = reader.width;
    image.height = reader.height;
    if (image.bitDepth != 16) return image;

    std::FILE* const file = std::fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_bytepp const rows = png_get_rows(png, info);
    for (uint32_t y = 0; y < image.height; ++y)
        for (uint32_t x = 0; x < image.width; ++x)
            image.grey.push_back(static_cast<uint16_t>(rows[y][2 * x] << 8 | rows[y][2 * x + 1]));
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return image;
}
}  // namespace talv
