#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "dicom/dicom_status.h"
#include "dicom/element.h"
#include "dicom/function_tables.h"
#include "dicom/stream.h"
#include "dicom/value_records.h"

namespace talv {
/// Bits of DicomDataSet::mode.
enum ModeFlags : uint16_t
{
    kModePreamble = 0x0001,  ///< a file with preamble and "DICM"
    kModeBare = 0x0002,      ///< a bare data set
    kModeLittleEndian = 0x0004,
    kModeBigEndian = 0x0008,
    kModeImplicitVr = 0x0010,
    kModeExplicitVr = 0x0020,
    kModeValuesCopied = 0x0200,  ///< every value was copied into the data set's own stream
    kModeCallerMark = 0x0400,    ///< the caller's marker
    kModeRecordElements = 0x0800,
    kModeEncodingMask = 0x003C,
    kModeInitial = 0x0025,
};

inline constexpr uint32_t kMaxWarnings = 50;
inline constexpr uint32_t kCheckForeignElement = 256;  ///< code handed to the element-check callback
inline constexpr int32_t kMaxNesting = 256;            ///< deeper levels are refused with kDicomNotDicom

struct DicomWarning
{
    uint32_t code = 0;
    DicomElement* element = nullptr;
    uint32_t inUse = 0;
};

/// One entry of the list kept under load flag 0x0800.
struct ElementRecord
{
    DicomElement* element = nullptr;
    bool littleEndian = true;
};

struct LevelPlace;

/// Something a higher room remembers about a data set. The next change of the tree or of a value drops it.
struct DataSetAttachment
{
    virtual ~DataSetAttachment() = default;
};

/// One parsed DICOM object: an ordered tree of elements, the encoding found by the reader and the stream that
/// values are fetched from on demand. Used by one thread at a time. Operations handed an element first check
/// that it belongs to this tree when an element-check callback is installed; a foreign one is reported and
/// the operation does nothing.
class DicomDataSet
{
  public:
    /// `tables` is copied; entries may be null (a codec or an operation that is not there).
    explicit DicomDataSet(const DataSetTables& tables = {});
    ~DicomDataSet();
    DicomDataSet(const DicomDataSet&) = delete;
    DicomDataSet& operator=(const DicomDataSet&) = delete;

    // --- state
    uint32_t magic = kMagic;  ///< checked where a data set arrives as a bare pointer
    static constexpr uint32_t kMagic = 0x54444453;
    Tree<DicomElement> tree;
    uint16_t mode = kModeInitial;
    DicomWarning warnings[kMaxWarnings] = {};
    uint32_t warningCount = 0;
    char fileName[kMaxFileName] = {};
    uint8_t preamble[128] = {};
    DicomStream* currentStream = nullptr;  ///< the one being loaded or read; not owned
    DicomStream fileStream;                ///< opened by LoadFile
    DicomStream ownStream;                 ///< temporary; holds copied and newly set values
    bool readOnly = false;                 ///< refuses creating and deleting elements, and loading
    void (*elementCheck)(DicomElement* element, uint32_t code, void* user) = nullptr;
    void* elementCheckUser = nullptr;
    DataSetTables tables;
    std::vector<ElementRecord> records;             ///< load flag 0x0800
    std::unique_ptr<DataSetAttachment> attachment;  ///< dropped by NoteChange

    // --- walking (null for "none")
    /// First element at the level of `element` when `siblingsOnly` is set and `element` is not null; else the
    /// first top-level element.
    DicomElement* GetFirstElement(DicomElement* element, bool siblingsOnly, bool includeHidden);
    /// Next sibling, or the pre-order successor when `siblingsOnly` is clear.
    DicomElement* GetNextElement(DicomElement* element, bool siblingsOnly, bool includeHidden);
    /// Previous sibling; without `siblingsOnly` the deepest last descendant of the previous sibling, or the
    /// parent.
    DicomElement* GetPrevElement(DicomElement* element, bool siblingsOnly, bool includeHidden);
    DicomElement* GetParentElement(DicomElement* element);
    DicomElement* GetChildElement(DicomElement* element, bool includeHidden);
    /// First element with `tag`: at the level of `element` (null: the top level) when `siblingsOnly` is set,
    /// else in the whole tree from the top.
    DicomElement* FindFirstElement(DicomElement* element, uint32_t tag, bool siblingsOnly);
    /// Next element after `element` in the same walk that has the same tag.
    DicomElement* FindNextElement(DicomElement* element, bool siblingsOnly);
    /// True when `element` is a node of this tree.
    bool ExistsElement(const DicomElement* element) const;

    // --- changing
    /// Creates an element as a child or sibling of `neighbour` (null: top level). `vr` 0 takes the
    /// dictionary's VR; SQ and `undefinedLength` make a container. Items go before sibling number `itemIndex`
    /// (0xFFFFFFFF: last), every other element to its place in ascending tag order. Null when refused:
    /// read-only, group length, delimiter or padding tag, parent that is not a container, tag present at that
    /// level, no memory.
    DicomElement* InsertElement(DicomElement* neighbour, bool asChild, uint32_t tag, uint16_t vr,
                                bool undefinedLength, uint32_t itemIndex);
    /// Removes an element with all below it. Returns its next sibling, else previous sibling, else parent.
    DicomElement* DeleteElement(DicomElement* element);
    /// Deletes all elements and restores the initial state; with `closeStream` also closes the current stream
    /// (its file only when the stream owns it).
    void ResetDataSet(bool closeStream);
    /// Makes this data set a deep copy of `source`, values included (copied into the own stream).
    /// kDicomNoMemory, kDicomShortRead or kDicomShortWrite leave it empty.
    DicomStatus CopyDataSet(DicomDataSet* source);
    /// Drops what higher rooms remember; called by every change of the tree or of a value.
    void NoteChange() { attachment.reset(); }

    // --- values
    /// Number of values, loading them when needed; 0 for null, for a container and when loading fails (no
    /// memory, or a stream that does not hold the whole value: nothing is kept then). Text is split at
    /// backslashes, each value trimmed of blanks; a number, date or time that is padding only has no values.
    int32_t GetValueCount(DicomElement* element);
    /// Frees the converted values; the next access loads them again.
    void ReleaseValues(DicomElement* element);

    /// Pointers into the converted array, from value `first` on, valid until the value is released or
    /// changed; null when the VR is not of that class or `first` + `count` exceeds the value count (`count`
    /// 0xFFFFFFFF: to the end).
    uint8_t* GetBytes(DicomElement* element, uint32_t first, uint32_t count);    // OB SQ UN
    uint16_t* GetWords(DicomElement* element, uint32_t first, uint32_t count);   // OW SS US
    int32_t* GetLongs(DicomElement* element, uint32_t first, uint32_t count);    // AT IS SL UL
    float* GetFloats(DicomElement* element, uint32_t first, uint32_t count);     // FL OF
    double* GetDoubles(DicomElement* element, uint32_t first, uint32_t count);   // DS FD
    char** GetStrings(DicomElement* element, uint32_t first, uint32_t count);    // AE CS LO LT PN SH ST UI UT
    DicomAge* GetAges(DicomElement* element, uint32_t first, uint32_t count);    // AS
    DicomDate* GetDates(DicomElement* element, uint32_t first, uint32_t count);  // DA
    DicomTime* GetTimes(DicomElement* element, uint32_t first, uint32_t count);  // TM
    DicomDateTime* GetDateTimes(DicomElement* element, uint32_t first, uint32_t count);  // DT
    /// Value `index` of an IS element with 64 bits; false when there is none.
    bool GetIntegerString64(DicomElement* element, uint32_t index, int64_t* value);

    /// Value `index` as a number of any class (US, SS, UL, SL, IS, FL, FD, DS, OW, OF, AT excluded); false
    /// when the element has no such value. Integers truncate and saturate; a real that is not a number counts
    /// as absent.
    bool GetInteger(DicomElement* element, uint32_t index, int32_t* value);
    bool GetReal(DicomElement* element, uint32_t index, double* value);
    /// Reads the first `count` values of the first element with `tag` at `parent`'s level (null: top level).
    /// kind 0: text of value `first` into `out`, at most `countOrSize` bytes, always terminated;
    /// kind 1: `countOrSize` 16-bit numbers; kind 2: `countOrSize` 32-bit numbers. Missing numbers are set to
    /// 0. True when the element was found and converted.
    bool GetTagValue(DicomElement* parent, uint32_t tag, void* out, uint32_t first, uint32_t countOrSize,
                     int kind);

    /// Bytes `offset` .. `offset` + `count` of the stored value as they lie in the stream, without converting
    /// or keeping them. Returns the bytes read: fewer at the value's end or when the stream is short.
    size_t ReadValueBytes(const DicomElement* element, uint64_t offset, void* buffer, size_t count);

    /// Stores `count` native values of the element's class (strings: an array of pointers), or, with `count`
    /// 0, the text or bytes at `values` of `raw` bytes as they are. The values go into the data set's own
    /// stream, in the byte order of the data set. False when nothing was changed.
    bool SetValues(DicomElement* element, const void* values, uint32_t count, uint32_t raw);
    /// Stores raw bytes, as ReadValueBytes would return them, as the value and sets the length (odd lengths
    /// are padded as the VR asks).
    bool SetRawValue(DicomElement* element, const void* bytes, uint32_t length);
    /// Display text of all values joined with backslashes. Returns the bytes it needs (0: no values); with a
    /// null `buffer` only that.
    size_t FormatValueText(DicomElement* element, char* buffer);

  private:
    friend class LevelParser;
    friend class DirectoryLinker;
    friend class VrRules;
    bool CheckElement(const DicomElement* element);
    /// InsertElement below `parent` without its checks of arguments. kDicomOk with a null `*created` means
    /// refused.
    DicomStatus CreateElement(DicomElement* parent, uint32_t tag, uint16_t vr, bool undefinedLength,
                              uint32_t itemIndex, DicomElement** created);
    void RemoveSubtree(DicomElement* element);
    void ForgetRemovedRecords();
    LevelPlace FindInLevel(DicomElement* parent, uint32_t tag);
    DicomStatus CopyElements(DicomDataSet* source);
    /// Appends `length` bytes, which begin at `position` of `source`, to the own stream and points `element`
    /// at them.
    DicomStatus CopyValue(DicomElement* element, DicomStream* source, uint64_t position, uint32_t length);
    void* GetRange(DicomElement* element, int valueClass, uint32_t first, uint32_t count);
    struct Arena;
    std::unique_ptr<Arena> arena_;
};

/// True for elements the library maintains by itself, which walks without `includeHidden` step over.
bool IsHiddenElement(const DicomElement* element);
}  // namespace talv
