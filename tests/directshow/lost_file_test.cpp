// Files whose names or contents the system does not keep as they were.
#include <array>

#include "tests/directshow/fake_downstream.h"

namespace talv {
namespace {
constexpr int kFrames = 12, kPixels = 64 * 64;

class LostFile : public ComponentTest
{
  protected:
    static HRESULT LoadWide(IBaseFilter* filter, const std::wstring& name)
    {
        return Query<IFileSourceFilter>(filter, IID_IFileSourceFilter)->Load(name.c_str(), nullptr);
    }
    static std::wstring InTemporaryFolder(const wchar_t* name)
    {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        return std::wstring(folder) + name;
    }
    static void Write(const std::wstring& name, const ByteVector& bytes)
    {
        const HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        CloseHandle(file);
    }
    static LONGLONG Frames(IBaseFilter* filter)
    {
        LONGLONG frames = 0;
        const auto seeking = Query<IMediaSeeking>(OnlyPin(filter).Get(), IID_IMediaSeeking);
        seeking->SetTimeFormat(&TIME_FORMAT_FRAME);
        seeking->GetDuration(&frames);
        return frames;
    }
    // Runs a program of the system below Wine on `path`, past the sharing rules that bind Windows programs.
    // False where there is none.
    static bool RunBelow(const char* program, const char* path)
    {
        using UnixName = char*(CDECL*)(LPCWSTR);
        const auto unixName = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
        if (unixName == nullptr) return false;
        wchar_t wide[MAX_PATH] = {};
        MultiByteToWideChar(CP_ACP, 0, path, -1, wide, MAX_PATH - 1);
        char* below = unixName(wide);
        std::string command = std::string(program) + " \"" + below + "\"";
        HeapFree(GetProcessHeap(), 0, below);
        STARTUPINFOA start = {};
        start.cb = sizeof(start);
        PROCESS_INFORMATION process = {};
        if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                            &process))
            return false;
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
        // Such a program cannot be waited for, but what it does shows.
        WIN32_FILE_ATTRIBUTE_DATA now = {};
        for (int i = 0; i < 1000; ++i, Sleep(10))
            if (!GetFileAttributesExA(path, GetFileExInfoStandard, &now) || now.nFileSizeLow < kPixels * 5)
                return true;
        return false;
    }
};

// A name that the code page cannot write is no other name that looks like it.
TEST_F(LostFile, NamesOutsideTheCodePageAreTriedByTheirShortNames)
{
    const std::wstring han = InTemporaryFolder(L"talv-\u6F22\u5B57.dcm"),
                       plain = InTemporaryFolder(L"talv-A.dcm"),
                       wideLetter = InTemporaryFolder(L"talv-\uFF21.dcm");
    Write(han, GreyClip(2).Bytes());
    Write(plain, GreyClip(3).Bytes());
    {
        const NoticeCapture notices;
        const ComPointer<IBaseFilter> filter = MakeFilter();
        EXPECT_EQ(LoadWide(filter.Get(), wideLetter), S_FALSE) << "only the plain letter's file is there";
        Write(wideLetter, GreyClip(4).Bytes());
        EXPECT_EQ(LoadWide(filter.Get(), wideLetter), S_OK);
        EXPECT_EQ(Frames(filter.Get()), 4);
        EXPECT_EQ(LoadWide(filter.Get(), han), S_OK);
        EXPECT_EQ(Frames(filter.Get()), 2);
        LPOLESTR current = nullptr;
        const auto source = Query<IFileSourceFilter>(filter.Get(), IID_IFileSourceFilter);
        ASSERT_EQ(source->GetCurFile(&current, nullptr), S_OK);
        const ComPointer<IBaseFilter> second = MakeFilter();
        EXPECT_EQ(LoadWide(second.Get(), current), S_OK) << "the name that is told leads to the file again";
        CoTaskMemFree(current);
    }
    for (const std::wstring& name : {han, plain, wideLetter}) DeleteFileW(name.c_str());
}

// The file shrinks or goes while it plays: frames that are gone repeat the last good one, stamps go on.
TEST_F(LostFile, PlayingGoesOnWithoutTheFile)
{
    ByteVector pixels;
    for (int n = 0; n < kFrames; ++n) pixels.insert(pixels.end(), kPixels, static_cast<uint8_t>(n + 1));
    ImageAttributes image = {.rows = 64, .columns = 64};
    image.numberOfFrames = std::to_string(kFrames);
    DicomBuilder clip = PreambleFile();
    clip.ExplicitLittle().Ds(0x00181063, "50").Image(image).NativePixels(pixels);
    for (const char* change : {"/usr/bin/truncate -s 20000", "/usr/bin/rm"}) {
        SCOPED_TRACE(change);
        const TemporaryFile file = clip.Save();
        FakePin input;
        const ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
        const ComPointer<IPin> output = OnlyPin(filter.Get());
        ASSERT_EQ(output->Connect(&input, nullptr), S_OK);
        input.notReady = 1 << 30;  // the first frame waits, the others are not read yet
        ASSERT_EQ(filter->Run(0), S_OK);
        if (!RunBelow(change, file.Path())) GTEST_SKIP() << "nothing here can change a file that is open";
        input.notReady = 0;
        ASSERT_TRUE(input.WaitForEnd());
        const std::vector<RecordedSample> samples = input.Samples();
        filter->Stop();
        output->Disconnect();
        ASSERT_EQ(samples.size(), size_t{kFrames});
        const bool gone = std::string(change).find("truncate") != std::string::npos;
        for (int n = 0; n < kFrames; ++n) {
            const RecordedSample& sample = samples[static_cast<size_t>(n)];
            EXPECT_EQ(sample.start, 500000 * n);
            ASSERT_EQ(sample.bytes.size(), size_t{kPixels});
            EXPECT_EQ(sample.bytes, ByteVector(kPixels, sample.bytes[0]));
            EXPECT_EQ(sample.bytes[0] == n + 1, n < 4 || !gone) << n;
        }
    }
}
}  // namespace
}  // namespace talv
