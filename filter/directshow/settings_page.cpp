#include "filter/directshow/settings_page.h"

#include <commctrl.h>
#include <commdlg.h>

#include <string>

#include "filter/directshow/resource.h"
#include "filter/directshow/task_text.h"

namespace talv {
namespace {
constexpr char kHelpTopic[] = "DICOMReader";
// The setter raises what is below 20.
constexpr int kSpinLow = 1, kSpinHigh = 1000;
constexpr int kTippedControls[] = {IDC_FILE_NAME,  IDC_BROWSE,          IDC_FRAME_CONTROL,
                                   IDC_FRAME_TIME, IDC_FRAME_TIME_SPIN, IDC_FRAME_DROPPING};

std::wstring TextOf(HWND control)
{
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(control, text.data(), static_cast<int>(text.size()))));
    return text;
}
}  // namespace

SettingsPage::SettingsPage(IUnknown* outer)
    : PropertyPage(outer, IDD_SETTINGS_PAGE, IDS_PAGE_TITLE, IDS_PAGE_NAME, kHelpTopic)
{
    const INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_UPDOWN_CLASS | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&controls);
}

HRESULT SettingsPage::TakeObject(IUnknown* object)
{
    reader_ = QueryFor<ITVDicRd>(object, IID_ITVDicRd);
    return object == nullptr || reader_ ? S_OK : E_NOINTERFACE;
}

bool SettingsPage::IsMpeg2() const
{
    VARIANT_BOOL mpeg2 = VARIANT_FALSE;
    return reader_ && SUCCEEDED(reader_->get_IsMPEG2Stream(&mpeg2)) && mpeg2 != VARIANT_FALSE;
}

// A connected pin keeps its file.
bool SettingsPage::AllowsLoading() const
{
    LONG connected = 0;
    return reader_ && SUCCEEDED(reader_->get_ConnectionState(&connected)) && connected == 0;
}

void SettingsPage::FillControls()
{
    SendMessageW(Control(IDC_FRAME_TIME_SPIN), UDM_SETBASE, 10, 0);
    SendMessageW(Control(IDC_FRAME_TIME_SPIN), UDM_SETRANGE32, kSpinLow, kSpinHigh);
    AddToolTips();
    if (!reader_) return;
    BSTR name = nullptr;
    if (reader_->get_InputFileName(&name) == S_OK) SetWindowTextW(Control(IDC_FILE_NAME), name);
    SysFreeString(name);
    VARIANT_BOOL control = VARIANT_FALSE, dropping = VARIANT_FALSE;
    reader_->get_FrameControl(&control);
    reader_->get_FrameDropping(&dropping);
    FillFrameTime();
    CheckDlgButton(dialog_, IDC_FRAME_CONTROL, control != VARIANT_FALSE ? BST_CHECKED : BST_UNCHECKED);
    CheckDlgButton(dialog_, IDC_FRAME_DROPPING, dropping != VARIANT_FALSE ? BST_CHECKED : BST_UNCHECKED);
    nameChanged_ = false;
    EnableControls();
    ShowStatus(S_OK);
}

// `loaded`: what came of the last attempt to load.
void SettingsPage::ShowStatus(HRESULT loaded)
{
    const UINT id = !AllowsLoading() ? IDS_STATUS_CONNECTED : loaded != S_OK ? IDS_STATUS_NOT_LOADED : 0;
    wchar_t text[128] = {};
    if (id != 0) LoadStringW(serverModule, id, text, 128);
    SetWindowTextW(Control(IDC_STATUS), text);
}

void SettingsPage::FillFrameTime()
{
    LONG milliseconds = 0;
    reader_->get_FrameTime(&milliseconds);
    SendMessageW(Control(IDC_FRAME_TIME_SPIN), UDM_SETPOS32, 0, milliseconds);
    SetDlgItemInt(dialog_, IDC_FRAME_TIME, static_cast<UINT>(milliseconds), FALSE);
}

void SettingsPage::EnableControls()
{
    const BOOL frames = !IsMpeg2();
    const BOOL controlled = frames && IsDlgButtonChecked(dialog_, IDC_FRAME_CONTROL) == BST_CHECKED;
    EnableWindow(Control(IDC_FILE_NAME), AllowsLoading());
    for (const int id : {IDC_FRAME_CONTROL, IDC_FRAME_TIME, IDC_FRAME_DROPPING})
        EnableWindow(Control(id), frames);
    EnableWindow(Control(IDC_FRAME_TIME_SPIN), controlled);
}

void SettingsPage::AddToolTips()
{
    const HWND tips =
        CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP, CW_USEDEFAULT,
                        CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, dialog_, nullptr, serverModule, nullptr);
    if (tips == nullptr) return;
    for (const int id : kTippedControls) {
        wchar_t text[128] = {};
        LoadStringW(serverModule, static_cast<UINT>(id), text, 128);
        TTTOOLINFOW tool = {};
        tool.cbSize = TTTOOLINFOW_V2_SIZE;
        tool.uFlags = TTF_SUBCLASS | TTF_IDISHWND;
        tool.hwnd = dialog_;
        tool.uId = reinterpret_cast<UINT_PTR>(Control(id));
        tool.lpszText = text;
        SendMessageW(tips, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    }
}

void SettingsPage::OnCommand(WORD control, WORD event)
{
    switch (control) {
        case IDC_BROWSE:
            if (event == BN_CLICKED) Browse();
            break;
        case IDC_FILE_NAME:
            if (event == EN_CHANGE) {
                nameChanged_ = true;
                SetDirty();
            }
            break;
        case IDC_FRAME_CONTROL:
        case IDC_FRAME_DROPPING:
            if (event == BN_CLICKED) {
                EnableControls();
                SetDirty();
            }
            break;
        case IDC_FRAME_TIME:
            if (event == EN_CHANGE) SetDirty();
            break;
        default:
            break;
    }
}

void SettingsPage::Browse()
{
    wchar_t name[MAX_PATH] = {};
    OPENFILENAMEW ask = {};
    ask.lStructSize = sizeof(ask);
    ask.hwndOwner = dialog_;
    ask.lpstrFilter = L"DICOM files (*.dcm;*.dic)\0*.dcm;*.dic\0All files (*.*)\0*.*\0";
    ask.lpstrFile = name;
    ask.nMaxFile = MAX_PATH;
    ask.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
    if (AllowsLoading() && GetOpenFileNameW(&ask)) SetWindowTextW(Control(IDC_FILE_NAME), name);
}

HRESULT SettingsPage::ApplyControls()
{
    if (!reader_) return E_UNEXPECTED;
    HRESULT loaded = S_OK;
    if (nameChanged_ && AllowsLoading()) {
        const std::wstring name = TextOf(Control(IDC_FILE_NAME));
        const BSTR text = SysAllocStringLen(name.data(), static_cast<UINT>(name.size()));
        if (text == nullptr) return E_OUTOFMEMORY;
        loaded = reader_->put_InputFileName(text);
        SysFreeString(text);
        nameChanged_ = false;
    }
    reader_->put_FrameTime(static_cast<LONG>(GetDlgItemInt(dialog_, IDC_FRAME_TIME, nullptr, TRUE)));
    const auto checked = [&](int id) {
        return IsDlgButtonChecked(dialog_, id) == BST_CHECKED ? VARIANT_TRUE : VARIANT_FALSE;
    };
    reader_->put_FrameControl(checked(IDC_FRAME_CONTROL));
    reader_->put_FrameDropping(checked(IDC_FRAME_DROPPING));
    FillFrameTime();
    EnableControls();
    ShowStatus(loaded);
    return S_OK;
}

HRESULT MakeSettingsPage(IUnknown* outer, IUnknown** out)
{
    return Guarded([&] {
        *out = (new SettingsPage(outer))->Inner();
        return S_OK;
    });
}
}  // namespace talv
