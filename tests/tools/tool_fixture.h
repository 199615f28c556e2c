#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/tools/tool_runner.h"

namespace talv {
/// Path of a file in tests/data/samples, and the facts about all of them by name.
std::string Sample(const std::string& name);
nlohmann::json SampleFacts();
/// What `info --json` prints; the run must succeed without a word on standard error.
nlohmann::json InfoOf(const std::string& file);
/// A refusal is status 1, nothing on standard output and one line on standard error.
void ExpectRefusal(const ToolRun& run, const std::string& file);
bool RefusedForWantOfACodec(const ToolRun& run);
bool Contains(const std::string& text, const std::string& part);
/// True when the shell finds a program of this name.
bool HasProgram(const std::string& name);

struct PngImage
{
    uint32_t width = 0, height = 0;
    int bitDepth = 0;
    std::vector<uint8_t> rgb;    ///< as red, green and blue of 8 bits
    std::vector<uint16_t> grey;  ///< of a 16-bit file
};
/// Reads with the public library.
PngImage ReadPng(const std::string& path);
}  // namespace talv
