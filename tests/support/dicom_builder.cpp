#include "tests/support/dicom_builder.h"

#include <bit>

namespace talv {
namespace {
constexpr uint32_t kItem = 0xFFFEE000;
constexpr uint32_t kItemDelimiter = 0xFFFEE00D;
constexpr uint32_t kSequenceDelimiter = 0xFFFEE0DD;
constexpr uint32_t kUndefined = 0xFFFFFFFF;

bool IsLongForm(std::string_view vr)
{
    return vr == "OB" || vr == "OW" || vr == "OF" || vr == "SQ" || vr == "UT" || vr == "UN";
}
}  // namespace

DicomBuilder& DicomBuilder::ImplicitLittle(std::string_view uid)
{
    littleEndian_ = true;
    explicitVr_ = false;
    return TransferSyntax(uid);
}

DicomBuilder& DicomBuilder::ExplicitLittle(std::string_view uid)
{
    littleEndian_ = explicitVr_ = true;
    return TransferSyntax(uid);
}

DicomBuilder& DicomBuilder::ExplicitBig(std::string_view uid)
{
    littleEndian_ = false;
    explicitVr_ = true;
    return TransferSyntax(uid);
}

DicomBuilder& DicomBuilder::TransferSyntax(std::string_view uid)
{
    transferSyntax_ = uid;
    return *this;
}

DicomBuilder& DicomBuilder::MetaWithoutVr()
{
    metaWithoutVr_ = true;
    return *this;
}

DicomBuilder& DicomBuilder::NoMeta()
{
    withMeta_ = false;
    return *this;
}

DicomBuilder& DicomBuilder::BeginMeta()
{
    DicomBuilder dataSet = std::move(*this);
    *this = BareFile();
    suspended_.push_back(std::move(dataSet));
    return *this;
}

DicomBuilder& DicomBuilder::EndMeta()
{
    DicomBuilder dataSet = std::move(suspended_.back());
    dataSet.ownMeta_ = body_.Content();
    *this = std::move(dataSet);
    return *this;
}

DicomBuilder& DicomBuilder::Header(uint32_t tag, const char* vr, uint32_t length)
{
    body_.Number(tag >> 16, 2, littleEndian_).Number(tag & 0xFFFF, 2, littleEndian_);
    const bool hasVr = explicitVr_ && tag >> 16 != 0xFFFE;
    if (!hasVr) {
        body_.Number(length, 4, littleEndian_);
    } else if (IsLongForm(vr)) {
        body_.Text(vr).Zeros(2).Number(length, 4, littleEndian_);
    } else {
        body_.Text(vr).Number(length, 2, littleEndian_);
    }
    return *this;
}

DicomBuilder& DicomBuilder::Raw(const ByteVector& bytes)
{
    body_.Bytes(bytes);
    return *this;
}

DicomBuilder& DicomBuilder::Value(uint32_t tag, const char* vr, const ByteVector& bytes)
{
    const size_t padding = bytes.size() & 1;
    Header(tag, vr, static_cast<uint32_t>(bytes.size() + padding));
    body_.Bytes(bytes).Zeros(padding);
    return *this;
}

DicomBuilder& DicomBuilder::Text(uint32_t tag, const char* vr, std::string_view text)
{
    ByteVector bytes(text.begin(), text.end());
    if (bytes.size() & 1) bytes.push_back(std::string_view(vr) == "UI" ? 0 : ' ');
    return Value(tag, vr, bytes);
}

DicomBuilder& DicomBuilder::Numbers(uint32_t tag, const char* vr, int size,
                                    std::initializer_list<uint32_t> values)
{
    ByteWriter bytes;
    for (uint32_t value : values) bytes.Number(value, size, littleEndian_);
    return Value(tag, vr, bytes);
}

DicomBuilder& DicomBuilder::Ss(uint32_t tag, std::initializer_list<int32_t> values)
{
    ByteWriter bytes;
    for (int32_t value : values) bytes.Number(static_cast<uint16_t>(value), 2, littleEndian_);
    return Value(tag, "SS", bytes);
}

DicomBuilder& DicomBuilder::Sl(uint32_t tag, std::initializer_list<int32_t> values)
{
    ByteWriter bytes;
    for (int32_t value : values) bytes.Number(static_cast<uint32_t>(value), 4, littleEndian_);
    return Value(tag, "SL", bytes);
}

DicomBuilder& DicomBuilder::Fl(uint32_t tag, std::initializer_list<float> values)
{
    ByteWriter bytes;
    for (float value : values) bytes.Number(std::bit_cast<uint32_t>(value), 4, littleEndian_);
    return Value(tag, "FL", bytes);
}

DicomBuilder& DicomBuilder::Fd(uint32_t tag, std::initializer_list<double> values)
{
    ByteWriter bytes;
    for (double value : values) bytes.Number(std::bit_cast<uint64_t>(value), 8, littleEndian_);
    return Value(tag, "FD", bytes);
}

DicomBuilder& DicomBuilder::At(uint32_t tag, std::initializer_list<uint32_t> tags)
{
    ByteWriter bytes;
    for (uint32_t value : tags)
        bytes.Number(value >> 16, 2, littleEndian_).Number(value & 0xFFFF, 2, littleEndian_);
    return Value(tag, "AT", bytes);
}

DicomBuilder& DicomBuilder::Ow(uint32_t tag, const std::vector<uint16_t>& words)
{
    ByteWriter bytes;
    for (uint16_t word : words) bytes.Number(word, 2, littleEndian_);
    return Value(tag, "OW", bytes);
}

DicomBuilder& DicomBuilder::Image(const ImageAttributes& attributes)
{
    Us(0x00280002, attributes.samplesPerPixel).Cs(0x00280004, attributes.photometric);
    if (attributes.samplesPerPixel > 1) Us(0x00280006, attributes.planarConfiguration);
    if (!attributes.numberOfFrames.empty()) Is(0x00280008, attributes.numberOfFrames);
    Us(0x00280010, attributes.rows).Us(0x00280011, attributes.columns);
    Us(0x00280100, attributes.bitsAllocated).Us(0x00280101, attributes.bitsStored);
    return Us(0x00280102, attributes.highBit).Us(0x00280103, attributes.pixelRepresentation);
}

DicomBuilder& DicomBuilder::Container(uint32_t tag, const char* vr, bool undefinedLength)
{
    Header(tag, vr, undefinedLength ? kUndefined : 0);
    open_.push_back({undefinedLength ? 0 : body_.Size() - 4});
    return *this;
}

DicomBuilder& DicomBuilder::Close(uint32_t delimiter)
{
    const size_t lengthPosition = open_.back().lengthPosition;
    open_.pop_back();
    if (lengthPosition == 0) return Header(delimiter, "", 0);
    body_.PatchU32(lengthPosition, static_cast<uint32_t>(body_.Size() - lengthPosition - 4), littleEndian_);
    return *this;
}

DicomBuilder& DicomBuilder::BeginSequence(uint32_t tag, bool undefinedLength, const char* vr)
{
    return Container(tag, vr, undefinedLength);
}

DicomBuilder& DicomBuilder::EndSequence()
{
    return Close(kSequenceDelimiter);
}

DicomBuilder& DicomBuilder::BeginItem(bool undefinedLength)
{
    return Container(kItem, "", undefinedLength);
}

DicomBuilder& DicomBuilder::EndItem()
{
    return Close(kItemDelimiter);
}

DicomBuilder& DicomBuilder::Encapsulated(const std::vector<ByteVector>& fragments,
                                         const std::vector<uint32_t>& offsets)
{
    BeginFragments(offsets);
    for (const ByteVector& fragment : fragments) Fragment(fragment);
    return EndFragments();
}

DicomBuilder& DicomBuilder::BeginFragments(const std::vector<uint32_t>& offsets)
{
    Header(kPixelData, "OB", kUndefined).Header(kItem, "", static_cast<uint32_t>(4 * offsets.size()));
    for (uint32_t offset : offsets) body_.Number(offset, 4, littleEndian_);
    return *this;
}

DicomBuilder& DicomBuilder::Fragment(const ByteVector& bytes)
{
    return Value(kItem, "", bytes);
}

DicomBuilder& DicomBuilder::EndFragments()
{
    return Header(kSequenceDelimiter, "", 0);
}

ByteVector DicomBuilder::Prefix() const
{
    ByteWriter prefix;
    if (!withPreamble_) return prefix;
    prefix.Zeros(128).Text("DICM");
    if (!withMeta_) return prefix;

    DicomBuilder elements = BareFile();
    if (metaWithoutVr_) elements.ImplicitLittle();
    if (!ownMeta_.empty()) {
        elements.Raw(ownMeta_);
    } else {
        elements.Ob(0x00020001, {0, 1}).Ui(0x00020002, "1.2.840.10008.5.1.4.1.1.7");
        if (!transferSyntax_.empty()) elements.Ui(0x00020010, transferSyntax_);
    }
    DicomBuilder groupLength = BareFile();
    if (metaWithoutVr_) groupLength.ImplicitLittle();
    groupLength.Ul(0x00020000, static_cast<uint32_t>(elements.body_.Size()));
    prefix.Bytes(groupLength.body_.Content()).Bytes(elements.body_.Content());
    return prefix;
}

ByteVector DicomBuilder::Bytes() const
{
    ByteVector file = Prefix();
    file.insert(file.end(), body_.Content().begin(), body_.Content().end());
    return file;
}
}  // namespace talv
