#include <filesystem>
#include <fstream>
#include <type_traits>

#include "filter/frame_source.h"
#include "platform/text.h"
#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
constexpr char kSettingsKey[] = "SOFTWARE\\Talv Systems, Inc.\\DShow\\Filters\\TVDicRd2";

class Text
{
  public:
    explicit Text(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
    ~Text() { SysFreeString(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    operator BSTR() const { return text_; }

  private:
    BSTR text_;
};

std::wstring TemporaryName(const wchar_t* name)
{
    wchar_t directory[MAX_PATH];
    GetTempPathW(MAX_PATH, directory);
    return std::wstring(directory) + name;
}

class Automation : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        filter_ = MakeFilter();
        reader_ = Query<ITVDicRd>(filter_.Get(), IID_ITVDicRd);
        common_ = Query<ITMMCommon>(filter_.Get(), IID_ITMMCommon);
        reader_->ResetToDefaults();
    }
    void TearDown() override
    {
        if (reader_) reader_->ResetToDefaults();
        common_.Reset();
        reader_.Reset();
        filter_.Reset();
        ComponentTest::TearDown();
    }
    LONG FrameTime()
    {
        LONG milliseconds = -1;
        EXPECT_EQ(reader_->get_FrameTime(&milliseconds), S_OK);
        return milliseconds;
    }

    ComPointer<IBaseFilter> filter_;
    ComPointer<ITVDicRd> reader_;
    ComPointer<ITMMCommon> common_;
};

TEST_F(Automation, MembersAreFoundAndCalledByName)
{
    const auto dispatch = Query<IDispatch>(filter_.Get(), IID_IDispatch);
    wchar_t name[] = L"frametime";
    LPOLESTR names[] = {name};
    DISPID id = 0;
    ASSERT_EQ(dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id), S_OK);
    EXPECT_EQ(id, 4);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"77");
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS arguments = {&value, &put, 1, 1};
    EXPECT_EQ(dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &arguments, nullptr,
                               nullptr, nullptr),
              S_OK);
    VariantClear(&value);
    DISPPARAMS none = {};
    EXPECT_EQ(dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value,
                               nullptr, nullptr),
              S_OK);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, 77);

    // The second dual interface dispatches to its own members.
    wchar_t count[] = L"OutputPinsCount";
    LPOLESTR second[] = {count};
    ASSERT_EQ(common_->GetIDsOfNames(IID_NULL, second, 1, LOCALE_USER_DEFAULT, &id), S_OK);
    EXPECT_EQ(id, 10);
    EXPECT_EQ(common_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr,
                              nullptr),
              S_OK);
    EXPECT_EQ(value.lVal, 1);
}

TEST_F(Automation, SettingsAreClampedAndKeptInTheRegistryAsFourRawBytes)
{
    for (const auto& [put, kept] : {std::pair{5, 20}, {1000, 1000}, {5000, 1000}, {63, 63}}) {
        EXPECT_EQ(reader_->put_FrameTime(put), S_OK);
        EXPECT_EQ(FrameTime(), kept);
    }
    EXPECT_EQ(reader_->put_FrameControl(VARIANT_TRUE), S_OK);
    VARIANT_BOOL on = VARIANT_FALSE;
    EXPECT_EQ(reader_->get_FrameControl(&on), S_OK);
    EXPECT_EQ(on, VARIANT_TRUE);
    EXPECT_EQ(reader_->get_FrameControl(nullptr), E_INVALIDARG);
    EXPECT_EQ(common_->CommitSettings(), S_OK);
    const auto stored = [](const char* name) {
        HKEY key = nullptr;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, kSettingsKey, 0, KEY_READ, &key);
        DWORD type = 0, value = 0, size = sizeof(value);
        EXPECT_EQ(RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(type, DWORD{REG_SZ});
        EXPECT_EQ(size, 4u);
        RegCloseKey(key);
        return value;
    };
    EXPECT_EQ(stored("Frame Time"), 63u);
    EXPECT_EQ(stored("Frame Control"), 1u);
    EXPECT_EQ(stored("Frame Dropping"), 0u);
    reader_->ResetToDefaults();
    EXPECT_EQ(FrameTime(), 40);
    EXPECT_EQ(common_->LoadSettings(), S_OK);
    EXPECT_EQ(FrameTime(), 63);
}

TEST_F(Automation, SettingsAreWrittenWhenTheFilterEnds)
{
    const auto once = [](LONG put) {
        LONG found = 0;
        const auto reader = Query<ITVDicRd>(MakeFilter().Get(), IID_ITVDicRd);
        reader->get_FrameTime(&found);
        reader->put_FrameTime(put);
        return found;
    };
    once(123);
    EXPECT_EQ(once(5), 123);
    EXPECT_EQ(once(40), 20);
}

// What others may have written there: values of other lengths are as good as none, the type does not matter.
TEST_F(Automation, OddRegistryValuesAreReadAsFarAsTheyAreFourBytes)
{
    const std::vector<BYTE> bytes(1000, 0x01);  // four of them: far above the largest frame time
    for (const DWORD size : {0u, 1u, 3u, 4u, 5u, 1000u})
        for (const DWORD type : {REG_BINARY, REG_DWORD, REG_QWORD, REG_MULTI_SZ, REG_NONE}) {
            for (const char* name : {"Frame Time", "Frame Control", "Frame Dropping"})
                RegSetKeyValueA(HKEY_LOCAL_MACHINE, kSettingsKey, name, type, bytes.data(), size);
            EXPECT_EQ(common_->LoadSettings(), S_OK);
            // Text types are converted by the system between its narrow and wide forms; binary ones are not.
            if (type == REG_MULTI_SZ) continue;
            VARIANT_BOOL control = VARIANT_FALSE;
            reader_->get_FrameControl(&control);
            EXPECT_EQ(FrameTime(), size == 4 ? 1000 : 40) << size << " bytes of type " << type;
            EXPECT_EQ(control, size == 4 ? VARIANT_TRUE : VARIANT_FALSE);
        }
}

TEST_F(Automation, HugeLinesInSettingsFilesAreCut)
{
    const std::wstring ini = TemporaryName(L"talv-huge.ini");
    const std::string nines(1 << 20, '9'), blanks(1 << 20, ' ');
    std::ofstream(std::filesystem::path(ini), std::ios::binary)
        << "[" << nines << "]\r\n"
        << nines << "=" << nines << "\r\n[Talv DICOM Reader (2.0)]\r\nUserRepeatTime=" << nines
        << "\r\nEnableFrameControl=" << blanks << "1\r\nEnableFrameDropping=1" << blanks << "\r\n";
    EXPECT_EQ(common_->ImportSettings(Text(ini)), S_OK);
    EXPECT_EQ(FrameTime(), 1000);
    VARIANT_BOOL dropping = VARIANT_FALSE;
    reader_->get_FrameDropping(&dropping);
    EXPECT_EQ(dropping, VARIANT_TRUE);
    DeleteFileW(ini.c_str());
}

TEST_F(Automation, SettingsTravelThroughFilesAndMemory)
{
    const std::wstring ini = TemporaryName(L"talv-settings.ini");
    reader_->put_FrameTime(40);
    reader_->put_FrameDropping(VARIANT_TRUE);
    EXPECT_EQ(common_->ExportSettings(Text(ini)), S_OK);
    LONG size = 0;
    EXPECT_EQ(common_->WriteToMemory(nullptr, &size), S_OK);
    EXPECT_EQ(size, 12);
    uint8_t block[12] = {};
    EXPECT_EQ(common_->WriteToMemory(block, &size), S_OK);
    const uint8_t expected[12] = {40, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_TRUE(std::equal(block, block + 12, expected));
    EXPECT_EQ(common_->WriteToMemory(reinterpret_cast<uint8_t*>(16), &size), E_POINTER);

    reader_->ResetToDefaults();
    VARIANT_BOOL dropping = VARIANT_FALSE;
    EXPECT_EQ(common_->ImportSettings(Text(ini)), S_OK);
    reader_->get_FrameDropping(&dropping);
    EXPECT_EQ(dropping, VARIANT_TRUE);
    EXPECT_EQ(FrameTime(), 40);
    EXPECT_EQ(common_->ImportSettings(Text(TemporaryName(L"talv-none.ini"))), S_OK);
    EXPECT_EQ(FrameTime(), 20);
    EXPECT_EQ(common_->LoadFromMemory(block), S_OK);
    EXPECT_EQ(FrameTime(), 40);
    DeleteFileW(ini.c_str());
}

TEST_F(Automation, NameLimitsDifferByOne)
{
    const NoticeCapture notices;
    EXPECT_EQ(reader_->put_InputFileName(nullptr), E_POINTER);
    EXPECT_EQ(reader_->put_InputFileName(Text(std::wstring(261, L'x'))), 206);
    EXPECT_EQ(notices.Text(), "Talv DICOM Reader (2.0) Error: File name exceeds maximum lenght\n");
    EXPECT_EQ(reader_->put_InputFileName(Text(std::wstring(260, L'x'))), S_FALSE);
    EXPECT_NE(notices.Text().find("File name exceeds 260 character\n"), std::string::npos);
}

// A data set of this program, lent and copied. The pointer is looked at, not believed.
TEST_F(Automation, ADataSetIsLentOrCopied)
{
    const TemporaryFile file = GreyClip(3).Save();
    using Address = std::conditional_t<sizeof(void*) == 4, LONG, LONGLONG>;
    const auto address = [](const void* pointer) { return reinterpret_cast<Address>(pointer); };
    for (const VARIANT_BOOL copy : {VARIANT_FALSE, VARIANT_TRUE}) {
        FrameTimeline timeline;
        FrameSource owner(&timeline);
        ASSERT_EQ(owner.Load(WideFromNarrow(file.Path()).c_str(), false), kLoadOk);
        EXPECT_EQ(reader_->SetDicomDS(address(owner.dataSet), copy), S_OK);
        Address held = 0;
        EXPECT_EQ(reader_->get_DicomDS(&held), S_OK);
        EXPECT_EQ(held == address(owner.dataSet), copy == VARIANT_FALSE);
        LONG width = 0;
        EXPECT_EQ(common_->get_OutWidth(0, &width), S_OK);
        EXPECT_EQ(width, 4);
        EXPECT_EQ(LoadPath(filter_.Get(), file.Path()), S_FALSE) << "a bound reader loads no file";
        EXPECT_EQ(reader_->SetDicomDS(0, VARIANT_FALSE), S_OK);
        EXPECT_EQ(LoadPath(filter_.Get(), file.Path()), S_OK);
    }
    const std::vector<uint64_t> stranger(1000, 0x4141414141414141);
    EXPECT_EQ(reader_->SetDicomDS(address(stranger.data()), VARIANT_FALSE), S_FALSE);
    TestGraph graph(filter_.Get());
    ASSERT_EQ(graph.connected, S_OK);
    EXPECT_EQ(reader_->SetDicomDS(0, VARIANT_FALSE), S_FALSE) << "a connected reader keeps its data set";
}

TEST_F(Automation, PinQuestionsAreAnsweredForOutputPinZeroOnly)
{
    const TemporaryFile file = GreyClip(2).Save();
    ASSERT_EQ(LoadPath(filter_.Get(), file.Path()), S_OK);
    LONG value = 0;
    EXPECT_EQ(common_->get_OutWidth(0, &value), S_OK);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(common_->get_OutWidth(1, &value), E_INVALIDARG);
    EXPECT_EQ(common_->get_InWidth(0, &value), E_INVALIDARG);
    BSTR name = nullptr;
    EXPECT_EQ(common_->get_OutputPinName(0, &name), S_OK);
    EXPECT_STREQ(name, L"Output");
    SysFreeString(name);
    EXPECT_EQ(common_->get_OutputPinName(1, &name), E_INVALIDARG);
}
}  // namespace
}  // namespace talv
