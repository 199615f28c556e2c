// The settings page driven as a property frame drives it: through its interface and its controls.
#include <windows.h>
// A block of its own: this header needs the one above.
#include <commctrl.h>

#include "filter/directshow/resource.h"
#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
constexpr char kHelpKey[] = "SOFTWARE\\Talv Systems, Inc.\\DShow\\Help";

ComPointer<IPropertyPage> MakePage(const GUID& id)
{
    ComPointer<IClassFactory> factory;
    ComPointer<IPropertyPage> page;
    EXPECT_EQ(Server::Get().getClassObject(id, IID_IClassFactory, factory.OutVoid()), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPropertyPage, page.OutVoid()), S_OK);
    return page;
}

class Site final : public IPropertyPageSite
{
  public:
    STDMETHODIMP QueryInterface(REFIID, void** out) override
    {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++count; }
    STDMETHODIMP_(ULONG) Release() override { return --count; }
    STDMETHODIMP OnStatusChange(DWORD flags) override
    {
        if ((flags & PROPPAGESTATUS_DIRTY) != 0) ++dirty;
        return S_OK;
    }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }
    ULONG count = 1;
    int dirty = 0;
};

class PropertyPages : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        // Without drawing, as 32-bit programs have it in some Wines, a page with a spin control ends the
        // process.
        const HDC screen = GetDC(nullptr);
        const bool draws = GetDeviceCaps(screen, BITSPIXEL) != 0;
        ReleaseDC(nullptr, screen);
        if (!draws) GTEST_SKIP() << "property pages need drawing";
    }
};

class SettingsPageTest : public PropertyPages
{
  protected:
    void SetUp() override
    {
        PropertyPages::SetUp();
        if (IsSkipped()) return;
        filter_ = MakeFilter();
        reader_ = Query<ITVDicRd>(filter_.Get(), IID_ITVDicRd);
        reader_->ResetToDefaults();
        page_ = MakePage(kSettingsPageClass);
        host_ = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 500, 300, nullptr, nullptr,
                                nullptr, nullptr);
    }
    void TearDown() override
    {
        if (page_) page_->SetPageSite(nullptr);
        page_.Reset();
        if (host_ != nullptr) DestroyWindow(host_);
        if (reader_) reader_->ResetToDefaults();
        reader_.Reset();
        filter_.Reset();
        EXPECT_EQ(site_.count, 1u);
        ComponentTest::TearDown();
    }
    // The page in the host's window, with the reader as its object.
    void Open()
    {
        IUnknown* objects[] = {filter_.Get()};
        const RECT place = {0, 0, 400, 200};
        ASSERT_EQ(page_->SetPageSite(&site_), S_OK);
        ASSERT_EQ(page_->SetObjects(1, objects), S_OK);
        ASSERT_EQ(page_->Activate(host_, &place, FALSE), S_OK);
        dialog_ = GetWindow(host_, GW_CHILD);
        ASSERT_NE(dialog_, nullptr);
    }
    void Close()
    {
        EXPECT_EQ(page_->Deactivate(), S_OK);
        EXPECT_EQ(page_->SetObjects(0, nullptr), S_OK);
    }
    std::wstring TextOf(int id) const
    {
        wchar_t text[300] = {};
        GetDlgItemTextW(dialog_, id, text, 300);
        return text;
    }
    bool Enabled(int id) const { return IsWindowEnabled(GetDlgItem(dialog_, id)) != FALSE; }
    void Click(int id) { SendMessageW(GetDlgItem(dialog_, id), BM_CLICK, 0, 0); }

    ComPointer<IBaseFilter> filter_;
    ComPointer<ITVDicRd> reader_;
    ComPointer<IPropertyPage> page_;
    Site site_;
    HWND host_ = nullptr, dialog_ = nullptr;
};

TEST_F(SettingsPageTest, ShowsTheSettingsAndAppliesWhatChanged)
{
    reader_->put_FrameTime(55);
    reader_->put_FrameDropping(VARIANT_TRUE);
    Open();
    EXPECT_EQ(TextOf(IDC_FRAME_TIME), L"55");
    EXPECT_EQ(IsDlgButtonChecked(dialog_, IDC_FRAME_DROPPING), UINT{BST_CHECKED});
    EXPECT_EQ(IsDlgButtonChecked(dialog_, IDC_FRAME_CONTROL), UINT{BST_UNCHECKED});
    EXPECT_FALSE(Enabled(IDC_FRAME_TIME_SPIN));
    EXPECT_EQ(page_->IsPageDirty(), S_FALSE) << "filling is no change of the user's";
    EXPECT_EQ(site_.dirty, 0);

    Click(IDC_FRAME_CONTROL);
    EXPECT_TRUE(Enabled(IDC_FRAME_TIME_SPIN));
    Click(IDC_FRAME_DROPPING);
    SetDlgItemTextW(dialog_, IDC_FRAME_TIME, L"7");
    const TemporaryFile file = GreyClip(3).Save();
    SetDlgItemTextA(dialog_, IDC_FILE_NAME, file.Path());
    EXPECT_EQ(page_->IsPageDirty(), S_OK);
    EXPECT_GT(site_.dirty, 0);
    LONG milliseconds = 0;
    reader_->get_FrameTime(&milliseconds);
    EXPECT_EQ(milliseconds, 55) << "nothing is taken before Apply";

    EXPECT_EQ(page_->Apply(), S_OK);
    EXPECT_EQ(page_->IsPageDirty(), S_FALSE);
    reader_->get_FrameTime(&milliseconds);
    EXPECT_EQ(milliseconds, 20);
    EXPECT_EQ(TextOf(IDC_FRAME_TIME), L"20") << "what was raised is shown";
    VARIANT_BOOL control = VARIANT_FALSE, dropping = VARIANT_TRUE;
    reader_->get_FrameControl(&control);
    reader_->get_FrameDropping(&dropping);
    EXPECT_EQ(control, VARIANT_TRUE);
    EXPECT_EQ(dropping, VARIANT_FALSE);
    BSTR name = nullptr;
    EXPECT_EQ(reader_->get_InputFileName(&name), S_OK);
    EXPECT_EQ(TextOf(IDC_FILE_NAME), name);
    SysFreeString(name);
    EXPECT_EQ(TextOf(IDC_STATUS), L"");
    SetDlgItemTextA(dialog_, IDC_FILE_NAME, "C:\\there is no such file.dcm");
    const NoticeCapture notices;
    EXPECT_EQ(page_->Apply(), S_OK);
    EXPECT_EQ(TextOf(IDC_STATUS), L"The file was not loaded.");
    Click(IDC_FRAME_CONTROL);
    EXPECT_EQ(page_->Deactivate(), S_OK);
    EXPECT_EQ(page_->Apply(), S_OK);
    reader_->get_FrameControl(&control);
    EXPECT_EQ(control, VARIANT_TRUE) << "what went with the page is not applied";
    EXPECT_EQ(page_->SetObjects(0, nullptr), S_OK);
}

TEST_F(SettingsPageTest, TheSpinControlCountsInTens)
{
    reader_->put_FrameControl(VARIANT_TRUE);
    Open();
    const HWND spin = GetDlgItem(dialog_, IDC_FRAME_TIME_SPIN);
    EXPECT_EQ(SendMessageW(spin, UDM_GETBASE, 0, 0), 10);
    int low = 0, high = 0;
    SendMessageW(spin, UDM_GETRANGE32, reinterpret_cast<WPARAM>(&low), reinterpret_cast<LPARAM>(&high));
    EXPECT_EQ(low, 1);
    EXPECT_EQ(high, 1000);
    EXPECT_EQ(reinterpret_cast<HWND>(SendMessageW(spin, UDM_GETBUDDY, 0, 0)),
              GetDlgItem(dialog_, IDC_FRAME_TIME));
    Close();
}

TEST_F(SettingsPageTest, AConnectedReaderKeepsItsFileAndMpeg2HasNoFrameTime)
{
    const TemporaryFile clip = GreyClip(2).Save();
    ASSERT_EQ(LoadPath(filter_.Get(), clip.Path()), S_OK);
    {
        TestGraph graph(filter_.Get());
        ASSERT_EQ(graph.connected, S_OK);
        Open();
        EXPECT_FALSE(Enabled(IDC_FILE_NAME));
        EXPECT_TRUE(Enabled(IDC_FRAME_CONTROL));
        EXPECT_EQ(TextOf(IDC_STATUS), L"The reader is connected: its file stays.");
        Close();
        page_->SetPageSite(nullptr);
    }
    const TemporaryFile mpeg2 = PreambleFile()
                                    .ExplicitLittle("1.2.840.10008.1.2.4.100")
                                    .Image({.rows = 2, .columns = 4})
                                    .Encapsulated({ByteVector(64, 1)})
                                    .Save();
    ASSERT_EQ(LoadPath(filter_.Get(), mpeg2.Path()), S_OK);
    Open();
    EXPECT_TRUE(Enabled(IDC_FILE_NAME));
    for (const int id : {IDC_FRAME_CONTROL, IDC_FRAME_TIME, IDC_FRAME_DROPPING, IDC_FRAME_TIME_SPIN})
        EXPECT_FALSE(Enabled(id)) << id;
    Close();
}

TEST_F(SettingsPageTest, CallsOutOfOrderAreRefused)
{
    const RECT place = {};
    IUnknown* two[] = {filter_.Get(), filter_.Get()};
    IUnknown* stranger[] = {page_.Get()};
    EXPECT_EQ(page_->Deactivate(), E_UNEXPECTED);
    EXPECT_EQ(page_->Show(SW_SHOW), E_UNEXPECTED);
    EXPECT_EQ(page_->Move(&place), E_UNEXPECTED);
    EXPECT_EQ(page_->Activate(host_, nullptr, FALSE), E_POINTER);
    EXPECT_EQ(page_->SetObjects(2, two), E_UNEXPECTED);
    EXPECT_EQ(page_->SetObjects(1, nullptr), E_POINTER);
    EXPECT_EQ(page_->SetObjects(1, stranger), E_NOINTERFACE);
    EXPECT_EQ(page_->GetPageInfo(nullptr), E_POINTER);
    EXPECT_EQ(page_->Apply(), S_OK) << "nothing changed, nothing to do";
}

TEST_F(PropertyPages, NameThemselves)
{
    for (const auto& [id, title] : {std::pair{&kSettingsPageClass, L"Talv DICOM Reader (2.0) Properties"},
                                    {&kAboutPageClass, L"About"}}) {
        PROPPAGEINFO info = {};
        ASSERT_EQ(MakePage(*id)->GetPageInfo(&info), S_OK);
        EXPECT_STREQ(info.pszTitle, title);
        EXPECT_GT(info.size.cx, 200);
        EXPECT_GT(info.size.cy, 100);
        EXPECT_STREQ(info.pszHelpFile, L"tvfilters.chm");
        for (LPOLESTR text : {info.pszTitle, info.pszDocString, info.pszHelpFile}) CoTaskMemFree(text);
    }
}

class Help : public ComponentTest
{
  protected:
    void TearDown() override
    {
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, kHelpKey);
        ComponentTest::TearDown();
    }
    static void SetPath(const std::string& path)
    {
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, kHelpKey, "Path", REG_SZ, path.c_str(),
                        static_cast<DWORD>(path.size() + 1));
    }
};

TEST_F(Help, TellsWhereItLookedAndWhenTheViewerFails)
{
    char directory[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, directory);
    const std::string folder = std::string(directory) + "talv-help";
    const std::string file = folder + "\\tvfilters.chm";
    CreateDirectoryA(folder.c_str(), nullptr);
    const ComPointer<IPropertyPage> page = MakePage(kAboutPageClass);
    SetPath(folder + "\\");
    {
        const NoticeCapture notices;
        page->Help(L"");
        const std::string text = notices.Text();
        EXPECT_EQ(
            text.find("Talv DICOM Reader (2.0) Error: The following help files were not found in the help "
                      "path(s): \n\n- ...\\talv-help\\tvfilters.chm\n- ...\\"),
            0u)
            << text;
        EXPECT_NE(text.find("\n- ...\\tvfilters.chm\n"), std::string::npos) << text;
    }
    const HANDLE made = CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    CloseHandle(made);
    {
        const NoticeCapture notices;
        page->Help(L"");
        EXPECT_NE(notices.Text().find("Talv DICOM Reader (2.0) Error: Can't find help file.\n"),
                  std::string::npos);
    }
    DeleteFileA(file.c_str());
    RemoveDirectoryA(folder.c_str());
}
}  // namespace
}  // namespace talv
