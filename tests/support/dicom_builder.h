#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/byte_writer.h"
#include "tests/support/temporary_file.h"

namespace talv {
/// The attributes of an image, as DicomBuilder::Image writes them.
struct ImageAttributes
{
    uint16_t rows = 0;
    uint16_t columns = 0;
    uint16_t bitsAllocated = 8;
    uint16_t bitsStored = 8;
    uint16_t highBit = 7;
    uint16_t pixelRepresentation = 0;
    uint16_t samplesPerPixel = 1;
    std::string photometric = "MONOCHROME2";
    uint16_t planarConfiguration = 0;  ///< written when there is more than one sample per pixel
    std::string numberOfFrames = {};   ///< not written when empty
};

/// Writes a DICOM file in memory, element by element, in the encoding chosen before the first element:
///
///     const ByteVector file = PreambleFile().ExplicitLittle().Us(0x00280010, {512}).Bytes();
///
/// Values get their even length by the padding of their VR; every lie (wrong length, missing delimiter, odd
/// length) is written with Header and Raw.
class DicomBuilder
{
  public:
    explicit DicomBuilder(bool withPreamble) : withPreamble_(withPreamble) {}

    // --- encoding; each also sets the transfer syntax of the meta group
    // ----------------------------------------------
    DicomBuilder& ImplicitLittle(std::string_view uid = "1.2.840.10008.1.2");
    DicomBuilder& ExplicitLittle(std::string_view uid = "1.2.840.10008.1.2.1");
    DicomBuilder& ExplicitBig(std::string_view uid = "1.2.840.10008.1.2.2");
    /// Only the UID; empty: the meta group has no (0002,0010).
    DicomBuilder& TransferSyntax(std::string_view uid);
    /// The meta group without VRs, as some writers made it.
    DicomBuilder& MetaWithoutVr();
    DicomBuilder& NoMeta();
    /// Elements written until EndMeta go to the meta group, explicit VR little endian, in place of the
    /// default ones.
    DicomBuilder& BeginMeta();
    DicomBuilder& EndMeta();

    // --- elements
    // ----------------------------------------------------------------------------------------------------
    DicomBuilder& Us(uint32_t tag, std::initializer_list<uint32_t> values)
    {
        return Numbers(tag, "US", 2, values);
    }
    DicomBuilder& Us(uint32_t tag, uint32_t value) { return Us(tag, {value}); }
    DicomBuilder& Ss(uint32_t tag, std::initializer_list<int32_t> values);
    DicomBuilder& Ul(uint32_t tag, std::initializer_list<uint32_t> values)
    {
        return Numbers(tag, "UL", 4, values);
    }
    DicomBuilder& Ul(uint32_t tag, uint32_t value) { return Ul(tag, {value}); }
    DicomBuilder& Sl(uint32_t tag, std::initializer_list<int32_t> values);
    DicomBuilder& Fl(uint32_t tag, std::initializer_list<float> values);
    DicomBuilder& Fd(uint32_t tag, std::initializer_list<double> values);
    /// Tags as (group << 16 | element).
    DicomBuilder& At(uint32_t tag, std::initializer_list<uint32_t> tags);
    /// Text padded with a blank (UI: with a NUL) to an even length.
    DicomBuilder& Text(uint32_t tag, const char* vr, std::string_view text);
    DicomBuilder& Cs(uint32_t tag, std::string_view text) { return Text(tag, "CS", text); }
    DicomBuilder& Ds(uint32_t tag, std::string_view text) { return Text(tag, "DS", text); }
    DicomBuilder& Is(uint32_t tag, std::string_view text) { return Text(tag, "IS", text); }
    DicomBuilder& Lo(uint32_t tag, std::string_view text) { return Text(tag, "LO", text); }
    DicomBuilder& Pn(uint32_t tag, std::string_view text) { return Text(tag, "PN", text); }
    DicomBuilder& Ui(uint32_t tag, std::string_view text) { return Text(tag, "UI", text); }
    DicomBuilder& Da(uint32_t tag, std::string_view text) { return Text(tag, "DA", text); }
    DicomBuilder& Tm(uint32_t tag, std::string_view text) { return Text(tag, "TM", text); }
    /// Bytes as they are, padded with a zero byte to an even length.
    DicomBuilder& Ob(uint32_t tag, const ByteVector& bytes) { return Value(tag, "OB", bytes); }
    DicomBuilder& Un(uint32_t tag, const ByteVector& bytes) { return Value(tag, "UN", bytes); }
    /// 16-bit words in the encoding's byte order.
    DicomBuilder& Ow(uint32_t tag, const std::vector<uint16_t>& words);
    DicomBuilder& Value(uint32_t tag, const char* vr, const ByteVector& bytes);
    /// Group 0028 of an image, in tag order.
    DicomBuilder& Image(const ImageAttributes& attributes);

    // --- sequences
    // ---------------------------------------------------------------------------------------------------
    DicomBuilder& BeginSequence(uint32_t tag, bool undefinedLength = true, const char* vr = "SQ");
    DicomBuilder& EndSequence();
    DicomBuilder& BeginItem(bool undefinedLength = true);
    DicomBuilder& EndItem();

    // --- pixel data
    // --------------------------------------------------------------------------------------------------
    DicomBuilder& NativePixels(const ByteVector& bytes, const char* vr = "OW")
    {
        return Value(kPixelData, vr, bytes);
    }
    /// Encapsulated pixel data: offset table, one item per fragment (padded to even length), delimiter.
    DicomBuilder& Encapsulated(const std::vector<ByteVector>& fragments,
                               const std::vector<uint32_t>& offsets = {});
    DicomBuilder& BeginFragments(const std::vector<uint32_t>& offsets = {});
    DicomBuilder& Fragment(const ByteVector& bytes);
    DicomBuilder& EndFragments();

    // --- raw pieces
    // --------------------------------------------------------------------------------------------------
    /// An element header in the current encoding with any length; items and delimiters get their 8-byte form.
    DicomBuilder& Header(uint32_t tag, const char* vr, uint32_t length);
    DicomBuilder& Raw(const ByteVector& bytes);
    DicomBuilder& Raw(std::string_view text) { return Raw(ByteVector(text.begin(), text.end())); }

    /// Where the next byte will lie in the file.
    size_t Position() const { return Prefix().size() + body_.Size(); }
    ByteVector Bytes() const;
    TemporaryFile Save() const { return TemporaryFile(Bytes()); }

  private:
    static constexpr uint32_t kPixelData = 0x7FE00010;
    struct Open
    {
        size_t lengthPosition;  // in the body; 0 for an undefined length
    };
    DicomBuilder& Numbers(uint32_t tag, const char* vr, int size, std::initializer_list<uint32_t> values);
    DicomBuilder& Container(uint32_t tag, const char* vr, bool undefinedLength);
    DicomBuilder& Close(uint32_t delimiter);
    ByteVector Prefix() const;

    bool withPreamble_;
    bool withMeta_ = true;
    bool metaWithoutVr_ = false;
    bool littleEndian_ = true;
    bool explicitVr_ = true;
    std::string transferSyntax_ = "1.2.840.10008.1.2.1";
    ByteVector ownMeta_;
    std::vector<DicomBuilder> suspended_;  // the data set while the meta group is being written
    ByteWriter body_;
    std::vector<Open> open_;
};

/// A file with preamble, "DICM" and meta group; a bare data set.
inline DicomBuilder PreambleFile()
{
    return DicomBuilder(true);
}
inline DicomBuilder BareFile()
{
    return DicomBuilder(false);
}
}  // namespace talv
