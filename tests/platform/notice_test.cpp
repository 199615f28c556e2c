#include "platform/notice.h"

#include <gtest/gtest.h>

#include <string>

namespace talv {
namespace {
TEST(Notice, ASinkReceivesTextTitleAndStyleInsteadOfTheDesktop)
{
    std::string seen;
    SetNoticeSink(
        [](const char* text, const char* title, uint32_t style, void* context) {
            *static_cast<std::string*>(context) +=
                std::string(title) + "|" + text + "|" + std::to_string(style);
        },
        &seen);
    ShowNotice("Error loading DICOM file", "Title", kNoticeExclamation);
    SetNoticeSink(nullptr, nullptr);
    EXPECT_EQ(seen, "Title|Error loading DICOM file|8240");
}
}  // namespace
}  // namespace talv
