#include "platform/text.h"

#include <gtest/gtest.h>

#include <string>

namespace talv {
namespace {
TEST(NarrowText, RoundTripsWhatTheEncodingHolds)
{
    for (const std::u16string& wide :
         {std::u16string(), std::u16string(u"C:\\cine\\heart.dcm"),
          std::u16string(u"\u00C4rzte \u20AC \u00E9"), std::u16string(u"a\0b", 3)}) {
        std::string narrow = "old";
        EXPECT_TRUE(NarrowFromWide(wide, &narrow));
        EXPECT_EQ(WideFromNarrow(narrow), wide);
    }
}

// A best fit would make "h" and "-" of these two, and so open another file than the one named.
TEST(NarrowText, LoneSurrogatesAndForeignLettersNeverBecomeOtherText)
{
    std::string narrow = "old";
    EXPECT_FALSE(NarrowFromWide(std::u16string(u"x\xD800y"), &narrow));
    EXPECT_EQ(narrow, "");
    for (const std::u16string& wide :
         {std::u16string(u"\u0127"), std::u16string(u"\u2010"), std::u16string(u"\u65E5")}) {
        if (NarrowFromWide(wide, &narrow))
            EXPECT_EQ(WideFromNarrow(narrow), wide);
        else
            EXPECT_EQ(narrow, "");
    }
}
}  // namespace
}  // namespace talv
