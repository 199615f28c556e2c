// The automation interfaces from outside: as the type library describes them, and as scripts call them.
#include <fstream>
#include <sstream>

#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
std::string Narrow(const wchar_t* text)
{
    char narrow[512] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow, sizeof(narrow) - 1, nullptr, nullptr);
    return narrow;
}

class TypeLibrary : public ComponentTest
{
  protected:
    // The members of a dual interface from `firstSlot` on, as "slot:dispid kind name", in slot order.
    static std::vector<std::string> MembersOf(REFIID iid, int firstSlot)
    {
        std::vector<std::string> members;
        ComPointer<ITypeLib> library;
        ComPointer<ITypeInfo> dispatch, info;
        HREFTYPE slots = 0;
        EXPECT_EQ(LoadTypeLibEx(Server::Get().path.c_str(), REGKIND_NONE, library.Out()), S_OK);
        EXPECT_EQ(library->GetTypeInfoOfGuid(iid, dispatch.Out()), S_OK);
        EXPECT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &slots), S_OK);
        EXPECT_EQ(dispatch->GetRefTypeInfo(slots, info.Out()), S_OK);
        FUNCDESC* function = nullptr;
        for (UINT i = 0; info->GetFuncDesc(i, &function) == S_OK; ++i) {
            BSTR name = nullptr;
            UINT count = 0;
            info->GetNames(function->memid, &name, 1, &count);
            const int slot = function->oVft / static_cast<int>(sizeof(void*));
            std::ostringstream line;
            line << slot << ':' << function->memid;
            line << (function->invkind == INVOKE_PROPERTYGET   ? " get "
                     : function->invkind == INVOKE_PROPERTYPUT ? " put "
                                                               : " ");
            line << Narrow(name);
            if (slot >= firstSlot) members.push_back(line.str());
            SysFreeString(name);
            info->ReleaseFuncDesc(function);
        }
        return members;
    }
};

TEST_F(TypeLibrary, MembersHaveTheirSlotsAndNumbers)
{
    const std::vector<std::string> reader = {
        "7:1 get InputFileName",  "8:1 put InputFileName", "9:2 get ConnectionState",
        "10:3 get DicomDS",       "11:4 get FrameTime",    "12:4 put FrameTime",
        "13:5 get FrameControl",  "14:5 put FrameControl", "15:6 get FrameDropping",
        "16:6 put FrameDropping", "17:7 SetDicomDS",       "18:8 get IsMPEG2Stream",
        "19:9 ResetToDefaults"};
    EXPECT_EQ(MembersOf(IID_ITVDicRd, 7), reader);
    const char* const ofPins[] = {"InputPinName",
                                  "OutputPinName",
                                  "IsTalvInputPinConnected",
                                  "IsTalvOutputPinConnected",
                                  "InputPinStreamType",
                                  "OutputPinStreamType",
                                  "InWidth",
                                  "InHeight",
                                  "OutWidth",
                                  "OutHeight",
                                  "InBits",
                                  "OutBits",
                                  "InChannels",
                                  "OutChannels",
                                  "InBitsPerSample",
                                  "OutBitsPerSample",
                                  "InSamplesPerSec",
                                  "OutSamplesPerSec",
                                  "InputAspectRatioX",
                                  "InputAspectRatioY",
                                  "InputPinStreamSubType"};
    std::vector<std::string> common = {
        "7:1 get FilterName",      "8:2 ExportSettings",       "9:3 ImportSettings", "10:4 LoadSettings",
        "11:5 CommitSettings",     "12:6 LoadFromMemory",      "13:7 WriteToMemory", "14:8 get FilterState",
        "15:9 get InputPinsCount", "16:10 get OutputPinsCount"};
    for (int i = 0; i < static_cast<int>(std::size(ofPins)); ++i)
        common.push_back(std::to_string(17 + i) + ":" + std::to_string(11 + i) + " get " + ofPins[i]);
    EXPECT_EQ(MembersOf(IID_ITMMCommon, 35), std::vector<std::string>(common.end() - 3, common.end()));
    common.resize(common.size() - 3);
    EXPECT_EQ(MembersOf(IID_ITMMCommon1, 7), common);
}

// As a program without the header calls them: by the number of the slot.
TEST_F(TypeLibrary, SlotsAnswerByNumber)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const auto slot = [](IUnknown* object, int number) {
        return (*reinterpret_cast<void***>(object))[number];
    };
    const auto reader = Query<IUnknown>(filter.Get(), IID_ITVDicRd);
    using Put = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, LONG);
    using Get = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, LONG*);
    using GetOfPin = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, LONG, LONG*);
    LONG value = 0;
    EXPECT_EQ(reinterpret_cast<Put>(slot(reader.Get(), 12))(reader.Get(), 55), S_OK);
    EXPECT_EQ(reinterpret_cast<Get>(slot(reader.Get(), 11))(reader.Get(), &value), S_OK);
    EXPECT_EQ(value, 55);
    EXPECT_EQ(reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)(IUnknown*)>(slot(reader.Get(), 19))(reader.Get()),
              S_OK);
    EXPECT_EQ(reinterpret_cast<Get>(slot(reader.Get(), 11))(reader.Get(), &value), S_OK);
    EXPECT_EQ(value, 40);
    for (const IID* iid : {&IID_ITMMCommon1, &IID_ITMMCommon}) {
        const auto common = Query<IUnknown>(filter.Get(), *iid);
        EXPECT_EQ(reinterpret_cast<Get>(slot(common.Get(), 16))(common.Get(), &value), S_OK);
        EXPECT_EQ(value, 1);
        EXPECT_EQ(reinterpret_cast<GetOfPin>(slot(common.Get(), 25))(common.Get(), 1, &value), E_INVALIDARG);
    }
}

class ScriptHost : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        ASSERT_EQ(Server::Get().registerServer(), S_OK);
        // The server has no name for scripts; this one is the test's.
        const char id[] = "{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}";
        RegSetKeyValueA(HKEY_CLASSES_ROOT, "TalvTest.Reader\\CLSID", nullptr, REG_SZ, id, sizeof(id));
    }
    void TearDown() override
    {
        RegDeleteTreeA(HKEY_CLASSES_ROOT, "TalvTest.Reader");
        EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
        ComponentTest::TearDown();
    }
    // What the script host of this bitness writes while it runs `script` with `argument`.
    static std::string Run(const std::string& script, const char* extension, const char* argument)
    {
        const TemporaryFile file(ByteVector(script.begin(), script.end()), extension);
        const TemporaryFile output(ByteVector{}, ".txt");
        SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
        const HANDLE written = CreateFileA(output.Path(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                           &inherited, OPEN_EXISTING, 0, nullptr);
        STARTUPINFOA start = {};
        start.cb = sizeof(start);
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = start.hStdError = written;
        PROCESS_INFORMATION process = {};
        std::string command =
            std::string("cscript.exe //nologo \"") + file.Path() + "\" \"" + argument + "\"";
        const BOOL started = CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                            nullptr, &start, &process);
        CloseHandle(written);
        if (!started) return "no script host";
        EXPECT_EQ(WaitForSingleObject(process.hProcess, 60000), WAIT_OBJECT_0);
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
        std::ifstream read(output.Path());
        std::string text{std::istreambuf_iterator<char>(read), {}};
        std::erase(text, '\r');
        return text;
    }
};

TEST_F(ScriptHost, ScriptsDriveTheReaderByName)
{
    const TemporaryFile clip = GreyClip(3).Save();
    const std::string expected = std::string("empty: \nloaded: ") + clip.Path() +
                                 "\nmpeg2 0, connected 0\ntime 77\ntime 1000\ncontrol -1, dropping 0\n"
                                 "no data set: 0\nno member: 438\nno number: failed\ntime 40, control 0\n";
    const char basic[] = R"(Set reader = CreateObject("TalvTest.Reader")
reader.ResetToDefaults
WScript.Echo "empty: " & reader.InputFileName
reader.InputFileName = WScript.Arguments(0)
WScript.Echo "loaded: " & reader.InputFileName
WScript.Echo "mpeg2 " & CInt(reader.IsMPEG2Stream) & ", connected " & reader.ConnectionState
reader.FrameTime = "77"
WScript.Echo "time " & reader.FrameTime
reader.frametime = 5000
WScript.Echo "time " & reader.FRAMETIME
reader.FrameControl = True
reader.FrameDropping = False
WScript.Echo "control " & CInt(reader.FrameControl) & ", dropping " & CInt(reader.FrameDropping)
reader.SetDicomDS 0, False
WScript.Echo "no data set: " & CInt(reader.DicomDS = 0)
On Error Resume Next
reader.NoSuchMember = 1
WScript.Echo "no member: " & Err.Number
Err.Clear
reader.FrameTime = "slow"
If Err.Number <> 0 Then WScript.Echo "no number: failed"
reader.ResetToDefaults
WScript.Echo "time " & reader.FrameTime & ", control " & CInt(reader.FrameControl)
)";
    EXPECT_EQ(Run(basic, ".vbs", clip.Path()), expected);
    const char java[] = R"(var reader = new ActiveXObject("TalvTest.Reader");
function number(value) { return value === true ? -1 : value === false ? 0 : value; }
function code(action) { try { action(); return 0; } catch (e) { return e.number & 0xFFFF; } }
reader.ResetToDefaults();
WScript.Echo("empty: " + reader.InputFileName);
reader.InputFileName = WScript.Arguments(0);
WScript.Echo("loaded: " + reader.InputFileName);
WScript.Echo("mpeg2 " + number(reader.IsMPEG2Stream) + ", connected " + reader.ConnectionState);
reader.FrameTime = "77";
WScript.Echo("time " + reader.FrameTime);
reader.FrameTime = 5000;
WScript.Echo("time " + reader.FrameTime);
reader.FrameControl = true;
reader.FrameDropping = false;
WScript.Echo("control " + number(reader.FrameControl) + ", dropping " + number(reader.FrameDropping));
reader.SetDicomDS(0, false);
WScript.Echo("no data set: " + number(reader.DicomDS == 0));
WScript.Echo("no member: " + code(function () { reader.NoSuchMember(); }));
if (code(function () { reader.FrameTime = "slow"; })) WScript.Echo("no number: failed");
reader.ResetToDefaults();
WScript.Echo("time " + reader.FrameTime + ", control " + number(reader.FrameControl));
)";
    EXPECT_EQ(Run(java, ".js", clip.Path()), expected);
}
}  // namespace
}  // namespace talv
