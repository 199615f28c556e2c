#include <string>
#include <thread>
#include <vector>

#include "tests/directshow/component_fixture.h"
#include "tests/directshow/import_patch.h"

namespace talv {
namespace {
constexpr char kTitle[] = "Talv DICOM Reader (2.0) Error";
constexpr char kNotLoaded[] = "Error loading DICOM file";

std::vector<std::string> boxes, debugLines;
UINT boxStyle = 0;
DWORD stationFlags = 0;

int WINAPI RecordBox(HWND owner, LPCSTR text, LPCSTR title, UINT style)
{
    EXPECT_EQ(owner, nullptr);
    boxes.push_back(std::string(title) + ": " + text);
    boxStyle = style;
    return IDOK;
}
void WINAPI RecordDebugLine(LPCSTR text)
{
    debugLines.emplace_back(text);
}
BOOL WINAPI TellStation(HANDLE, int, void* out, DWORD, DWORD*)
{
    static_cast<USEROBJECTFLAGS*>(out)->dwFlags = stationFlags;
    return TRUE;
}

class NoticeBox : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        SetEnvironmentVariableW(L"TALV_NO_NOTICE", nullptr);
    }
};

// A service's window station cannot show a box: the text goes to the debug output alone.
TEST_F(NoticeBox, AppearsOnlyWhereADesktopCanShowIt)
{
    const ImportPatch box("MessageBoxA", &RecordBox), debug("OutputDebugStringA", &RecordDebugLine),
        station("GetUserObjectInformationW", &TellStation);
    ASSERT_TRUE(box.Placed() && debug.Placed() && station.Placed());
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const std::string message = std::string(kTitle) + ": " + kNotLoaded;
    for (const DWORD flags : {DWORD{0}, DWORD{WSF_VISIBLE}}) {
        stationFlags = flags;
        boxes.clear();
        debugLines.clear();
        EXPECT_EQ(LoadPath(filter.Get(), "C:\\there is no such file.dcm"), S_FALSE);
        EXPECT_EQ(debugLines, std::vector<std::string>{message + "\n"});
        EXPECT_EQ(boxes, flags != 0 ? std::vector<std::string>{message} : std::vector<std::string>{});
    }
    EXPECT_EQ(boxStyle, 0x2030u);
}

// The real box, closed as a user closes it.
TEST_F(NoticeBox, WaitsForTheUser)
{
    std::string text;
    std::thread user([&] {
        HWND window = nullptr;
        for (int i = 0; i < 1000 && window == nullptr; ++i) {
            Sleep(10);
            window = FindWindowA("#32770", kTitle);
        }
        ASSERT_NE(window, nullptr);
        char shown[256] = {};
        GetWindowTextA(GetDlgItem(window, 0xFFFF), shown, sizeof(shown));
        text = shown;
        PostMessageA(window, WM_COMMAND, IDOK, 0);
    });
    EXPECT_EQ(LoadPath(MakeFilter().Get(), "C:\\there is no such file.dcm"), S_FALSE);
    user.join();
    EXPECT_EQ(text, kNotLoaded);
}
}  // namespace
}  // namespace talv
