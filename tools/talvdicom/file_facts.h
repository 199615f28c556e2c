#pragma once

#include <string>
#include <vector>

#include "tools/talvdicom/codestream.h"
#include "tools/talvdicom/findings.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/timing.h"

namespace talv {
/// What `info` tells of a loaded file.
struct FileFacts
{
    std::string transferSyntax, photometric;
    int32_t compression = 0;
    int32_t columns = 0, rows = 0;
    uint32_t bytesPerLine = 0, colorOrder = 0;
    int64_t fileBytes = 0;
    bool framesDeclared = false;  ///< the file has a Number of Frames
    int64_t framesFound = 0, framesWhole = 0;
    ImageDescription description;
    Codestream stream;  ///< of the first frame
    std::vector<TimingTag> timing;
    std::string timingReason;
    Findings findings;
};

FileFacts GatherFacts(OpenedFile* opened);
/// How the frames go downstream: "RGB24", "RGB8", "TGRY", ...; empty when there are none.
std::string MediaName(const FrameSource& source);
std::string FactsAsJson(const OpenedFile& opened, const FileFacts& facts);
}  // namespace talv
