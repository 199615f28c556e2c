#include "platform/windows/file_name.h"

#include <gtest/gtest.h>

#include <string>

namespace talv {
namespace {
std::string Shown(const char16_t* name)
{
    std::string text;
    for (; *name != 0; ++name) text.push_back(*name < 0x80 ? static_cast<char>(*name) : '?');
    return text;
}

TEST(FileName, DiskFilesPass)
{
    for (const char16_t* name :
         {u"heart.dcm", u"C:\\cine\\heart.dcm", u"C:heart.dcm", u"\\\\server\\share\\heart.dcm",
          u"/cine/heart", u"\\\\?\\C:\\cine\\heart.dcm", u"C:\\NUL\\heart.dcm", u"console.dcm", u"com0",
          u"com10.dcm", u"lpt\u00B4", u"..\\nulls"})
        EXPECT_TRUE(NamesDiskFile(name)) << Shown(name);
}

// Each of these opens something else than a file, whatever folder stands before it.
TEST(FileName, DevicesStreamsAndWildcardsDoNot)
{
    for (const char16_t* name : {u"",
                                 u"NUL",
                                 u"nul.dcm",
                                 u"C:\\cine\\con",
                                 u"C:aux.dcm",
                                 u"prn .txt",
                                 u"COM1",
                                 u"cine/lpt9.dcm",
                                 u"com\u00B2",
                                 u"CONIN$",
                                 u"conout$",
                                 u"heart.dcm:hidden",
                                 u"C:\\heart.dcm::$DATA",
                                 u"ab:c",
                                 u"\\\\.\\PhysicalDrive0",
                                 u"//./pipe/name",
                                 u"\\\\?\\pipe\\name",
                                 u"\\\\?\\GLOBALROOT\\Device",
                                 u"\\\\?\\C:",
                                 u"\\??\\C:\\heart.dcm",
                                 u"*.dcm",
                                 u"heart?.dcm",
                                 u"a|b"})
        EXPECT_FALSE(NamesDiskFile(name)) << Shown(name);
}
}  // namespace
}  // namespace talv
