#include "dicom/dictionary_tables.h"

namespace talv {
// clang-format off
const VrEntry kVrTable[] =
{
    //         VR       name                     max length  flags   unit size
    { MakeVr('A', 'E'), "Application Entity",    16,         0x0201, 1 },
    { MakeVr('A', 'S'), "Age String",            4,          0x0200, 1 },
    { MakeVr('A', 'T'), "Attribute Tag",         4,          0x0100, 4 },
    { MakeVr('C', 'S'), "Code String",           16,         0x0201, 1 },
    { MakeVr('D', 'A'), "Date",                  8,          0x0200, 1 },
    { MakeVr('D', 'S'), "Decimal String",        16,         0x0201, 1 },
    { MakeVr('D', 'T'), "Date Time",             26,         0x0201, 1 },
    { MakeVr('F', 'D'), "Floating Point Double", 8,          0x0100, 8 },
    { MakeVr('F', 'L'), "Floating Point Single", 4,          0x0100, 4 },
    { MakeVr('I', 'S'), "Integer String",        12,         0x0201, 1 },
    { MakeVr('L', 'O'), "Long String",           64,         0x0201, 1 },
    { MakeVr('L', 'T'), "Long Text",             10240,      0x0401, 1 },
    { MakeVr('O', 'B'), "Other Byte String",     0,          0x0103, 1 },
    { MakeVr('O', 'W'), "Other Word String",     0,          0x0103, 2 },
    { MakeVr('P', 'N'), "Person Name",           64,         0x0202, 1 },
    { MakeVr('S', 'H'), "Short String",          16,         0x0201, 1 },
    { MakeVr('S', 'L'), "Signed Long",           4,          0x0100, 4 },
    { MakeVr('S', 'Q'), "Sequence of Items",     0,          0x0004, 1 },
    { MakeVr('S', 'S'), "Signed Short",          2,          0x0100, 2 },
    { MakeVr('S', 'T'), "Short Text",            1024,       0x0401, 1 },
    { MakeVr('T', 'M'), "Time",                  16,         0x0201, 1 },
    { MakeVr('U', 'I'), "Unique Identifier",     64,         0x0201, 1 },
    { MakeVr('U', 'L'), "Unsigned Long",         4,          0x0100, 4 },
    { MakeVr('U', 'N'), "Unknown",               0,          0x0103, 1 },
    { MakeVr('U', 'S'), "Unsigned Short",        2,          0x0100, 2 },
    { MakeVr('U', 'T'), "Unlimited Text",        0xFFFFFFFE, 0x0401, 1 },
    { MakeVr('O', 'F'), "Other Float String",    0xFFFFFFFC, 0x0101, 4 },
};
// clang-format on
}  // namespace talv
