#pragma once

#include <cstddef>
#include <cstdint>

#include "dicom/tree.h"

namespace talv {
class DicomDataSet;

struct ElementEntry
{
    uint32_t tag;
    uint32_t mask;  ///< bits of a looked-up tag that must equal `tag`
    const char* name;
    uint16_t vr;
    uint32_t vmMin;
    uint32_t vmMax;  ///< 0xFFFFFFFF for "n"
    uint32_t vmStep;
};

/// Class flags of a VR.
enum VrFlags : uint16_t
{
    kVrBinary = 0x0100,
    kVrSplitText = 0x0200,  ///< text whose values are split at backslashes
    kVrFreeText = 0x0400,   ///< a backslash is part of the text
    kVrSequence = 0x0004,
};

struct VrEntry
{
    uint16_t vr;
    const char* name;
    uint32_t maxLength;
    uint16_t flags;
    uint32_t unitSize;  ///< bytes swapped together and counted as one value
};

enum UidType : uint32_t
{
    kUidOther = 0,
    kUidNativeTransferSyntax = 1,
    kUidEncapsulatedTransferSyntax = 2,
    kUidSopClass = 3,
    kUidMetaSopClass = 4,
    kUidSopInstance = 5,
    kUidApplicationContext = 6,
};

struct UidEntry
{
    const char* uid;
    uint32_t type;
    const char* name;
};

/// The tables and their indexes are constants of the program, so these two cost nothing at library load: the
/// first checks that the tables are in order, the second frees the IOD nodes linked so far. Look-ups in the
/// element, VR and UID dictionaries are read-only and take no lock.
bool InitDictionaries();
void FreeDictionaries();

/// The first row, in table order, for which (`tag` & mask) equals the row's tag; null when there is none.
const ElementEntry* FindElementEntry(uint32_t tag);
/// The first row named `name` exactly; null when there is none.
const ElementEntry* FindElementEntryByName(const char* name);
const VrEntry* FindVrEntry(uint16_t vr);
uint32_t GetVrUnitSize(uint16_t vr);  ///< 1 when the VR is unknown
/// Writes the two letters of `vr` and a terminator; "??" when they are not two printable characters.
void VrText(uint16_t vr, char text[3]);
const UidEntry* FindUidEntry(const char* uid);
/// The row after `previous` (null: the first) that has `type`; null after the last.
const UidEntry* NextUidOfType(const UidEntry* previous, uint32_t type);
/// Name of a UID for display: of the UID dictionary, or of the further registered UIDs it does not hold; null
/// when unknown.
const char* FindUidName(const char* uid);

enum IodKind : uint8_t
{
    kIodKindIod = 0,
    kIodKindModule = 1,
    kIodKindAttribute = 2,
};

/// IodNode::usage of modules and of attributes (PS3.3 A.1.3, PS3.5 7.4).
enum IodUsage : uint16_t
{
    kUsageMandatory = 0,
    kUsageConditional = 1,
    kUsageUserOption = 2,
    kUsageType1 = 3,
    kUsageType1C = 4,
    kUsageType2 = 5,
    kUsageType2C = 6,
    kUsageType3 = 7,
};

/// A node of the IOD tree: modules hang under IODs, attributes under modules, the attributes of a sequence
/// under the sequence attribute.
struct IodNode : TreeLinks<IodNode>
{
    uint8_t kind = kIodKindIod;
    uint16_t usage = 0;
    uint32_t code = 0;  ///< number of the IOD from 0, number of the module from 1, tag of the attribute
    const char* name = nullptr;
    /// IODs: the SOP class UIDs, separated by backslashes; attributes: what they tell, where the dictionary
    /// has words for it; else null.
    const char* description = nullptr;
};

inline constexpr uint16_t kNoIod = 0xFFFF;

/// The first IOD, or the one after `iod`; null after the last and when memory is short. What a call returns
/// has all its modules and attributes linked: walk them by the links, with NextInPreOrder or with the
/// functions below. An IOD's nodes are linked when it is first asked for, by whichever thread, and stay
/// until FreeDictionaries.
const IodNode* GetFirstIod();
const IodNode* GetNextIod(const IodNode* iod);
/// The IOD with this code; null when there is none.
const IodNode* GetIod(uint32_t code);
/// First module of an IOD or first attribute of a module or sequence; null when there is none.
const IodNode* GetIodChild(const IodNode* node);
const IodNode* GetIodSibling(const IodNode* node);
/// The child of `node` with this code; null when there is none.
const IodNode* FindIodChild(const IodNode* node, uint32_t code);
/// Code of the first IOD whose SOP class UIDs hold the data set's Media Storage SOP Class UID (0002,0002) or,
/// when that is missing, its SOP Class UID (0008,0016); kNoIod when there is none.
uint16_t FindIodForDataSet(DicomDataSet* dataSet);

/// One command-group attribute of a DIMSE command.
struct DimseField
{
    uint16_t element;  ///< of group 0000
    const char* name;
    uint16_t vr;
};

/// A DIMSE command (PS3.7 annex E) with the fields it carries, for display.
struct DimseCommand
{
    const char* name;
    uint16_t commandField;  ///< value of (0000,0100)
    uint16_t firstField;
    uint16_t fieldCount;
};

size_t GetDimseCommandCount();
/// Command `index` in table order; null beyond the last.
const DimseCommand* GetDimseCommand(size_t index);
/// The command with this value of (0000,0100); null when there is none.
const DimseCommand* FindDimseCommand(uint16_t commandField);
/// Field `index` of a command; null beyond its last.
const DimseField* GetDimseField(const DimseCommand* command, size_t index);
}  // namespace talv
