#include "filter/directshow/com_object.h"
#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
class ComponentIdentity : public ComponentTest
{};

TEST_F(ComponentIdentity, FactoryKnowsThreeClassesAndNoOther)
{
    for (const GUID* id : {&kReaderClass, &kSettingsPageClass, &kAboutPageClass}) {
        ComPointer<IClassFactory> factory;
        ASSERT_EQ(Server::Get().getClassObject(*id, IID_IClassFactory, factory.OutVoid()), S_OK);
        ComPointer<IUnknown> object;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.OutVoid()), S_OK);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    }
    void* out = &out;
    EXPECT_EQ(Server::Get().getClassObject(IID_IPin, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(Server::Get().getClassObject(kReaderClass, IID_IPin, &out), E_NOINTERFACE);
    EXPECT_EQ(Server::Get().getClassObject(kReaderClass, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(ComponentIdentity, FilterAnswersItsInterfacesOnly)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    for (const IID* iid : {&IID_IUnknown, &IID_IPersist, &IID_IMediaFilter, &IID_IBaseFilter,
                           &IID_IFileSourceFilter, &IID_ISpecifyPropertyPages, &IID_IAMFilterMiscFlags,
                           &IID_IDispatch, &IID_ITVDicRd, &IID_ITMMCommon1, &IID_ITMMCommon}) {
        const auto found = Query<IUnknown>(filter.Get(), *iid);
        ASSERT_TRUE(found);
        EXPECT_EQ(Query<IUnknown>(found.Get(), IID_IUnknown).Get(),
                  Query<IUnknown>(filter.Get(), IID_IUnknown).Get());
    }
    for (const IID* iid : {&IID_IPin, &IID_IMediaSeeking, &IID_IAsyncReader, &IID_IPropertyPage})
        EXPECT_FALSE(Query<IUnknown>(filter.Get(), *iid));
    const ComPointer<IPin> pin = OnlyPin(filter.Get());
    for (const IID* iid : {&IID_IPin, &IID_IQualityControl, &IID_IMediaSeeking})
        EXPECT_TRUE(Query<IUnknown>(pin.Get(), *iid));
    for (const IID* iid : {&IID_IAsyncReader, &IID_IBaseFilter, &IID_IMemInputPin})
        EXPECT_FALSE(Query<IUnknown>(pin.Get(), *iid));
    EXPECT_EQ(Query<IAMFilterMiscFlags>(filter.Get(), IID_IAMFilterMiscFlags)->GetMiscFlags(), 2u);
}

TEST_F(ComponentIdentity, AnObjectWithAnOuterOneHasTheOutersIdentity)
{
    class Outer final : public IUnknown
    {
      public:
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override
        {
            if (iid != IID_IUnknown) return inner->QueryInterface(iid, out);
            *out = this;
            ++count;
            return S_OK;
        }
        STDMETHODIMP_(ULONG) AddRef() override { return ++count; }
        STDMETHODIMP_(ULONG) Release() override { return --count; }
        ULONG count = 1;
        ComPointer<IUnknown> inner;
    } outer;
    ComPointer<IClassFactory> factory;
    Server::Get().getClassObject(kReaderClass, IID_IClassFactory, factory.OutVoid());
    void* refused = nullptr;
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &refused), CLASS_E_NOAGGREGATION);
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, outer.inner.OutVoid()), S_OK);
    {
        const auto filter = Query<IBaseFilter>(&outer, IID_IBaseFilter);
        EXPECT_EQ(Query<IUnknown>(filter.Get(), IID_IUnknown).Get(), &outer);
        EXPECT_EQ(outer.count, 2u);
    }
    EXPECT_EQ(outer.count, 1u);
}

TEST_F(ComponentIdentity, EnumeratorHandsOutOnePinToAnyCount)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    ComPointer<IEnumPins> pins, clone;
    ASSERT_EQ(filter->EnumPins(pins.Out()), S_OK);
    IPin* found[3] = {};
    ULONG count = 9;
    EXPECT_EQ(pins->Next(3, found, nullptr), E_INVALIDARG);
    EXPECT_EQ(pins->Next(3, found, &count), S_FALSE);
    EXPECT_EQ(count, 1u);
    if (found[0] != nullptr) found[0]->Release();
    EXPECT_EQ(pins->Clone(clone.Out()), S_OK);
    EXPECT_EQ(clone->Next(1, found, nullptr), S_FALSE);
    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(2), S_FALSE);
    EXPECT_EQ(filter->EnumPins(nullptr), E_POINTER);
    ComPointer<IPin> named;
    EXPECT_EQ(filter->FindPin(L"Output", named.Out()), S_OK);
    EXPECT_EQ(filter->FindPin(L"Input", named.Out()), VFW_E_NOT_FOUND);
}

TEST_F(ComponentIdentity, TheFileTellsItsVersion)
{
    std::vector<BYTE> block(GetFileVersionInfoSizeW(Server::Get().path.c_str(), nullptr));
    ASSERT_TRUE(
        GetFileVersionInfoW(Server::Get().path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
    VS_FIXEDFILEINFO* numbers = nullptr;
    wchar_t* text = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&numbers), &size));
    EXPECT_EQ(numbers->dwFileVersionMS, 0x20000u);
    EXPECT_EQ(numbers->dwFileType, DWORD{VFT_DLL});
    for (const auto& [name, value] : {std::pair{L"FileVersion", L"2.0.0.0"},
                                      {L"FileDescription", L"Talv DICOM Reader (2.0)"},
                                      {L"CompanyName", L"Talv Systems, Inc."},
                                      {L"OriginalFilename", L"TVDicRd2.ax"}}) {
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904E4\\") + name;
        ASSERT_TRUE(VerQueryValueW(block.data(), path.c_str(), reinterpret_cast<void**>(&text), &size))
            << name;
        EXPECT_STREQ(text, value);
    }
}

#if defined(__i386__)
// Loads a file with the stack off by 0, 4, 8 and 12 bytes from what compilers like.
TEST_F(ComponentIdentity, HostsMayCallWithASkewedStack)
{
    const TemporaryFile file = GreyClip(1).Save();
    wchar_t name[MAX_PATH] = {};
    MultiByteToWideChar(CP_ACP, 0, file.Path(), -1, name, MAX_PATH - 1);
    for (const uint32_t skew : {0u, 4u, 8u, 12u}) {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        const auto source = Query<IFileSourceFilter>(filter.Get(), IID_IFileSourceFilter);
        IFileSourceFilter* object = source.Get();
        const auto address = [](void* pointer) { return reinterpret_cast<uint32_t>(pointer); };
        void* load = (*reinterpret_cast<void***>(object))[3];
        const uint32_t call[] = {0, address(name), address(object), address(load), skew};
        HRESULT hr = E_FAIL;
        asm volatile(
            "movl %%esp, %%ebx\n\t"
            "andl $-16, %%esp\n\t"
            "subl 16(%%esi), %%esp\n\t"
            "pushl 0(%%esi)\n\t"
            "pushl 4(%%esi)\n\t"
            "pushl 8(%%esi)\n\t"
            "call *12(%%esi)\n\t"
            "movl %%ebx, %%esp\n\t"
            : "=a"(hr)
            : "S"(call)
            : "ebx", "ecx", "edx", "memory", "cc");
        EXPECT_EQ(hr, S_OK) << skew;
    }
}
#endif
}  // namespace
}  // namespace talv
