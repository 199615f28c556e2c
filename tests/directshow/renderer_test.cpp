// The reader in front of the system's own video renderer and property frame.
#include <windows.h>
// A block of its own: these headers need the one above.
#include <commctrl.h>
#include <olectl.h>

#include <thread>

#include "filter/directshow/resource.h"
#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
bool ScreenDraws()
{
    const HDC screen = GetDC(nullptr);
    const bool draws = GetDeviceCaps(screen, BITSPIXEL) != 0;
    ReleaseDC(nullptr, screen);
    return draws;
}

// The child with an identifier, at any depth of a window.
struct Search
{
    static BOOL CALLBACK Look(HWND child, LPARAM context)
    {
        auto* search = reinterpret_cast<Search*>(context);
        if (GetDlgCtrlID(child) == search->id) search->found = child;
        return search->found == nullptr;
    }
    int id;
    HWND found;
};

class Renderer : public ComponentTest
{
  protected:
    // The picture that the video renderer shows of a paused graph, after a seek to `frame`.
    static void ExpectShown(const char* path, LONGLONG position, const ByteVector& expected)
    {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), path), S_OK);
        ComPointer<IGraphBuilder> graph;
        ComPointer<IBaseFilter> renderer;
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                         graph.OutVoid());
        CoCreateInstance(kVideoRendererClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                         renderer.OutVoid());
        ASSERT_TRUE(renderer);
        graph->AddFilter(filter.Get(), L"Reader");
        graph->AddFilter(renderer.Get(), L"Renderer");
        ASSERT_EQ(graph->ConnectDirect(OnlyPin(filter.Get()).Get(), OnlyPin(renderer.Get()).Get(), nullptr),
                  S_OK);
        const auto window = Query<IVideoWindow>(graph.Get(), IID_IVideoWindow);
        window->put_AutoShow(OAFALSE);
        const auto control = Query<IMediaControl>(graph.Get(), IID_IMediaControl);
        const auto seeking = Query<IMediaSeeking>(graph.Get(), IID_IMediaSeeking);
        const auto video = Query<IBasicVideo>(renderer.Get(), IID_IBasicVideo);
        // Playing shows nothing new of the bytes, but brings the renderer's quality messages.
        ASSERT_TRUE(SUCCEEDED(control->Run()));
        Sleep(250);
        ASSERT_TRUE(SUCCEEDED(control->Pause()));
        ASSERT_TRUE(SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
        OAFilterState state = 0;
        ASSERT_TRUE(SUCCEEDED(control->GetState(5000, &state)));
        // The renderer may still hold the frame before the seek, or none yet.
        ByteVector image(4096);
        const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(image.data());
        bool isShown = false;
        for (int i = 0; i < 500 && !isShown; ++i, Sleep(10)) {
            LONG size = static_cast<LONG>(image.size());
            isShown = video->GetCurrentImage(&size, reinterpret_cast<LONG*>(image.data())) == S_OK &&
                      std::equal(expected.begin(), expected.end(), image.begin() + sizeof(*header));
        }
        EXPECT_TRUE(isShown);
        EXPECT_EQ(header->biHeight, 2);
        control->Stop();
        window->put_Owner(0);
    }
};

TEST_F(Renderer, ShowsTheFrameThatIsSoughtByteForByte)
{
    const TemporaryFile grey = GreyClip(9).Save();
    ExpectShown(grey.Path(), 5 * 400000, GreyClipSample(5));
    // Each frame has the whole range of values, so none is stretched to it.
    const auto value = [](int n, int i) {
        return static_cast<uint8_t>(i == 0 ? 0 : i == 23 ? 255 : 70 * n + i);
    };
    ByteVector pixels, shown;
    for (int n = 0; n < 3; ++n)
        for (int i = 0; i < 24; ++i) pixels.push_back(value(n, i));
    const ImageAttributes image = {
        .rows = 2, .columns = 4, .samplesPerPixel = 3, .photometric = "RGB", .numberOfFrames = "3"};
    DicomBuilder colour = PreambleFile();
    colour.ExplicitLittle().Ds(0x00181063, "40").Image(image).NativePixels(pixels);
    for (const int y : {1, 0})
        for (int x = 0; x < 4; ++x)
            for (const int c : {2, 1, 0}) shown.push_back(value(2, 12 * y + 3 * x + c));
    ExpectShown(colour.Save().Path(), 2 * 400000, shown);
}

// Both pages in the frame that players show; they live on a thread of their own.
TEST_F(Renderer, ThePropertyFrameShowsBothPages)
{
    if (!ScreenDraws()) GTEST_SKIP() << "property pages need drawing";
    ASSERT_EQ(Server::Get().registerServer(), S_OK);
    const TemporaryFile file = GreyClip(2).Save();
    std::thread frame([&] {
        CoInitialize(nullptr);
        {
            const ComPointer<IBaseFilter> filter = MakeFilter();
            EXPECT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
            CAUUID pages = {};
            Query<ISpecifyPropertyPages>(filter.Get(), IID_ISpecifyPropertyPages)->GetPages(&pages);
            EXPECT_EQ(pages.cElems, 2u);
            IUnknown* object = filter.Get();
            EXPECT_EQ(OleCreatePropertyFrame(nullptr, 0, 0, L"the reader", 1, &object, pages.cElems,
                                             pages.pElems, 0, 0, nullptr),
                      S_OK);
            CoTaskMemFree(pages.pElems);
        }
        CoUninitialize();
    });
    HWND window = nullptr;
    const auto textOf = [&](int id) -> std::wstring {
        Search search = {id, nullptr};
        wchar_t text[300] = {};
        for (int i = 0; i < 500 && search.found == nullptr; ++i, Sleep(10))
            EnumChildWindows(window, &Search::Look, reinterpret_cast<LPARAM>(&search));
        SendMessageW(search.found, WM_GETTEXT, 300, reinterpret_cast<LPARAM>(text));
        return text;
    };
    for (int i = 0; i < 1000 && window == nullptr; ++i, Sleep(10))
        window = FindWindowW(L"#32770", L"Properties for the reader");
    EXPECT_NE(window, nullptr);
    if (window != nullptr) {
        wchar_t name[MAX_PATH] = {};
        MultiByteToWideChar(CP_ACP, 0, file.Path(), -1, name, MAX_PATH - 1);
        EXPECT_EQ(textOf(IDC_FILE_NAME), name);
        EXPECT_EQ(textOf(IDC_FRAME_TIME), L"40");
        SendMessageW(window, PSM_SETCURSEL, 1, 0);
        EXPECT_EQ(textOf(IDC_VERSION),
                  sizeof(void*) == 8 ? L"Version 2.0.0.0, 64 bits" : L"Version 2.0.0.0, 32 bits");
        EXPECT_NE(textOf(IDC_SERVER_FILE).find(L"TVDicRd2.ax"), std::wstring::npos);
        PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
    }
    frame.join();
    EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
}
}  // namespace
}  // namespace talv
