#include "dicom/dictionary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "dicom/allocator.h"
#include "dicom/data_set.h"
#include "dicom/dictionary_tables.h"

namespace talv {
namespace {
using Fields = std::vector<std::string>;

/// The lines of a text file of tools/dictionary/facts without its header, split at tabs.
std::vector<Fields> Facts(const char* name)
{
    std::ifstream file(std::string(TALV_SOURCE_DIR "/tools/dictionary/facts/") + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::vector<Fields> rows;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        rows.emplace_back();
        for (std::string field; std::getline(fields, field, '\t');) rows.back().push_back(field);
    }
    return rows;
}

uint32_t Hex(const std::string& text)
{
    return static_cast<uint32_t>(std::stoul(text, nullptr, 16));
}

const ElementEntry* ScanElements(uint32_t tag)
{
    for (const ElementEntry& entry : kElementTable)
        if ((tag & entry.mask) == entry.tag) return &entry;
    return nullptr;
}

TEST(ElementDictionary, LookUpEqualsAScanInTableOrder)
{
    const auto check = [](uint32_t tag) {
        ASSERT_EQ(FindElementEntry(tag), ScanElements(tag)) << std::hex << tag;
    };
    for (const ElementEntry& entry : kElementTable) {
        check(entry.tag - 1);
        check(entry.tag + 1);
        if (entry.mask == 0xFFFFFFFF) continue;
        for (uint32_t shift : {0u, 4u, 16u})  // every value of the free bits, and of those next to them
            for (uint32_t bits = 0; bits < 256; ++bits) check(entry.tag ^ bits << shift);
    }
    std::mt19937 random(20040315);
    for (int i = 0; i < 200000; ++i) {
        const uint32_t near = kElementTable[random() % kElementCount].tag;
        check(i % 2 != 0 ? near ^ 1u << random() % 32 ^ 1u << random() % 32 : random());
    }
}

TEST(ElementDictionary, TableIsInOrderAndEveryPublicRowCanBeFound)
{
    std::set<uint32_t> privateTags;
    int descents = 0, repeatedPrivateTags = 0;
    for (size_t row = 0; row < kElementCount; ++row) {
        const ElementEntry& entry = kElementTable[row];
        EXPECT_EQ(std::count(std::begin(TagIndex::kMasks), std::end(TagIndex::kMasks), entry.mask), 1)
            << std::hex << entry.mask << " is not among the masks that look-ups try";
        EXPECT_EQ(entry.tag & ~entry.mask, 0u) << entry.name;
        EXPECT_NE(FindVrEntry(entry.vr), nullptr) << entry.name;
        EXPECT_LE(entry.vmMin, entry.vmMax) << entry.name;
        EXPECT_GE(entry.vmStep, 1u) << entry.name;
        const bool isPrivate = (TagGroup(entry.tag) & 1) != 0;
        if (row > 0 && !isPrivate && entry.tag < kElementTable[row - 1].tag) ++descents;
        if (isPrivate && !privateTags.insert(entry.tag).second)
            ++repeatedPrivateTags;
        else
            EXPECT_EQ(ScanElements(entry.tag | (0x00110011 & ~entry.mask)), &entry) << entry.name;
    }
    EXPECT_EQ(descents, 1) << "the 7FE0 rows stand before the masked 7Fxx ones";
    EXPECT_EQ(privateTags.size() + static_cast<size_t>(repeatedPrivateTags), 59u);
    EXPECT_GT(repeatedPrivateTags, 0) << "tags are shared by creators, the first row wins";
}

TEST(ElementDictionary, NameLookUpGivesTheFirstRowOfThatName)
{
    std::map<std::string, const ElementEntry*> first;
    for (const ElementEntry& entry : kElementTable) first.emplace(entry.name, &entry);
    EXPECT_LT(first.size(), kElementCount) << "some names stand twice";
    for (const auto& [name, entry] : first) ASSERT_EQ(FindElementEntryByName(name.c_str()), entry) << name;
    for (const char* unknown : {"", "patient's name", "Patient's Name ", "zzz"})
        EXPECT_EQ(FindElementEntryByName(unknown), nullptr) << unknown;
    EXPECT_EQ(FindElementEntryByName(nullptr), nullptr);
}

TEST(VrDictionary, UnitSizesAndClasses)
{
    const std::map<std::string, uint32_t> units = {{"AT", 4}, {"FD", 8}, {"FL", 4}, {"OF", 4}, {"OW", 2},
                                                   {"SL", 4}, {"SS", 2}, {"UL", 4}, {"US", 2}};
    std::set<uint16_t> seen;
    for (const VrEntry& entry : kVrTable) {
        char text[3];
        VrText(entry.vr, text);
        const auto unit = units.find(text);
        EXPECT_EQ(GetVrUnitSize(entry.vr), unit != units.end() ? unit->second : 1) << text;
        EXPECT_EQ(FindVrEntry(entry.vr), &entry) << text;
        EXPECT_TRUE(seen.insert(entry.vr).second) << text;
        EXPECT_EQ(__builtin_popcount(entry.flags & (kVrBinary | kVrSplitText | kVrFreeText | kVrSequence)), 1)
            << text;
    }
    for (uint16_t unknown : {uint16_t{0}, kVrUnknownYet, MakeVr('o', 'w'), MakeVr('?', '?')}) {
        EXPECT_EQ(FindVrEntry(unknown), nullptr);
        EXPECT_EQ(GetVrUnitSize(unknown), 1u);
    }
    char text[3];
    VrText(kVrUnknownYet, text);
    EXPECT_STREQ(text, "??");
    VrText(MakeVr('O', '\0'), text);
    EXPECT_STREQ(text, "??");
}

TEST(UidDictionary, FindsEveryRowAndCountsTheTypes)
{
    for (const UidEntry& entry : kUidTable) ASSERT_EQ(FindUidEntry(entry.uid), &entry) << entry.uid;
    const size_t rowsOfType[] = {10, 4, 23, 104, 9, 5, 1};
    for (uint32_t type = 0; type < std::size(rowsOfType); ++type) {
        size_t rows = 0;
        for (const UidEntry* entry = NextUidOfType(nullptr, type); entry;
             entry = NextUidOfType(entry, type)) {
            EXPECT_EQ(entry->type, type);
            ++rows;
        }
        EXPECT_EQ(rows, rowsOfType[type]) << type;
    }
    EXPECT_EQ(NextUidOfType(nullptr, 7), nullptr);

    const struct
    {
        const char* uid;
        uint32_t type;
        const char* name;
    } cases[] = {
        {"1.2.840.10008.1.20", kUidOther, "Papyrus 3 Implicit VR Little Endian"},
        {"1.2.840.10008.1.2", kUidNativeTransferSyntax, "Implicit VR - Little Endian"},
        {"1.2.840.10008.1.2.4.50", kUidEncapsulatedTransferSyntax, "JPEG Baseline (Process 1)"},
        {"1.2.840.10008.1.1", kUidSopClass, "Verification Class"},
        {"1.2.840.10008.3.1.2.1.4", kUidMetaSopClass, "Detached Patient Management Meta Class"},
        {"1.2.840.10008.1.20.1.1", kUidSopInstance, "Storage Commitment Push Model Instance"},
        {"1.2.840.10008.3.1.1.1", kUidApplicationContext, "Application Context Name"},
        {"1.2.840.10008.5.1.4.1.1.9.1", kUidOther, "Waveform Storage"},
        {"1.2.840.10008.2.16.4", kUidOther, "DICOM Controlled Terminology"},
    };
    for (const auto& wanted : cases) {
        const UidEntry* const entry = FindUidEntry(wanted.uid);
        ASSERT_NE(entry, nullptr) << wanted.uid;
        EXPECT_EQ(entry->type, wanted.type) << wanted.uid;
        EXPECT_STREQ(entry->name, wanted.name);
        EXPECT_STREQ(FindUidName(wanted.uid), wanted.name);
    }
    for (const char* unknown : {"", "1.2.840.10008.1.2 ", "1.2.840.10008.1.", "1.2.3", "2"}) {
        EXPECT_EQ(FindUidEntry(unknown), nullptr) << unknown;
        EXPECT_EQ(FindUidName(unknown), nullptr) << unknown;
    }
    EXPECT_EQ(FindUidEntry(nullptr), nullptr);
}

TEST(UidDictionary, FurtherUidsHaveANameOnly)
{
    for (const UidEntry& entry : kOptionalUidTable) {
        EXPECT_EQ(FindUidEntry(entry.uid), nullptr) << entry.uid;
        EXPECT_STREQ(FindUidName(entry.uid), entry.name);
    }
    EXPECT_STREQ(FindUidName("1.2.840.10008.1.2.4.100"), "MPEG2 Main Profile @ Main Level");
}

/// One line for each node below `node`: depth, kind, code, usage and name.
void Describe(const IodNode* node, int depth, std::vector<std::string>* lines)
{
    for (const IodNode* child = GetIodChild(node); child != nullptr; child = GetIodSibling(child)) {
        EXPECT_EQ(child->parent, node);
        std::ostringstream line;
        line << depth << ' ' << int{child->kind} << ' ' << child->code << ' ' << child->usage << ' '
             << child->name;
        lines->push_back(line.str());
        Describe(child, depth + 1, lines);
    }
}

TEST(IodTree, HoldsWhatTheFactsSay)
{
    const std::map<std::string, int> usages = {{"M", 0},  {"C", 1}, {"U", 2},  {"1", 3},
                                               {"1C", 4}, {"2", 5}, {"2C", 6}, {"3", 7}};
    std::map<std::string, std::vector<std::string>> modules;  // the lines of each module's attributes
    for (const Fields& f : Facts("module_attributes.tsv")) {
        std::ostringstream line;
        line << std::stoi(f[2]) + 1 << " 2 " << Hex(f[3]) << ' ' << usages.at(f[4]) << ' ' << f[5];
        modules[f[0]].push_back(line.str());
    }
    std::map<std::string, std::vector<std::string>> iods;
    for (const Fields& f : Facts("iod_modules.tsv")) {
        std::vector<std::string>& lines = iods[f[0]];
        lines.push_back("1 1 " + f[2] + ' ' + std::to_string(usages.at(f[3])) + ' ' + f[4]);
        lines.insert(lines.end(), modules[f[2]].begin(), modules[f[2]].end());
    }

    const std::vector<Fields> facts = Facts("iods.tsv");
    ASSERT_EQ(facts.size(), kIodCount);
    const IodNode* iod = GetFirstIod();
    for (const Fields& f : facts) {
        ASSERT_NE(iod, nullptr);
        EXPECT_EQ(std::to_string(iod->code), f[0]);
        EXPECT_EQ(iod->kind, kIodKindIod);
        EXPECT_EQ(iod->name, f[1]);
        EXPECT_EQ(iod->description, f[2]);
        std::vector<std::string> lines;
        Describe(iod, 1, &lines);
        EXPECT_EQ(lines, iods[f[0]]) << f[1];
        iod = GetNextIod(iod);
    }
    EXPECT_EQ(iod, nullptr);
    const IodNode* const module = GetIodChild(GetFirstIod());
    EXPECT_STREQ(module->description, nullptr);
    EXPECT_STREQ(FindIodChild(module, 0x00100010)->description, "Patient's full legal name.");
    FreeDictionaries();
}

int liveBlocks = 0;
bool refuse = false;

TEST(IodTree, MemoryShortageIsAnAnswerAndFreeingReturnsEveryBlock)
{
    FreeDictionaries();
    const DicomAllocator saved = dicomAllocator;
    dicomAllocator.allocate = [](size_t count, size_t size) -> void* {
        if (refuse) return nullptr;
        ++liveBlocks;
        return std::calloc(count, size);
    };
    dicomAllocator.free = [](void* block) {
        --liveBlocks;
        std::free(block);
    };
    refuse = true;
    EXPECT_EQ(GetFirstIod(), nullptr);
    EXPECT_EQ(GetIod(5), nullptr);
    refuse = false;
    for (uint32_t code = 0; code < kIodCount; ++code) EXPECT_NE(GetIod(code), nullptr);
    EXPECT_EQ(GetIod(kIodCount), nullptr);
    EXPECT_EQ(liveBlocks, static_cast<int>(kIodCount)) << "one block an IOD";
    FreeDictionaries();
    EXPECT_EQ(liveBlocks, 0);
    dicomAllocator = saved;
}

TEST(IodTree, ThreadsSeeTheSameNodes)
{
    std::vector<std::vector<const IodNode*>> seen(4);
    std::vector<std::thread> threads;
    for (auto& nodes : seen)
        threads.emplace_back([&nodes] {
            for (const IodNode* iod = GetFirstIod(); iod != nullptr; iod = GetNextIod(iod))
                nodes.push_back(iod);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(seen[0].size(), kIodCount);
    for (const auto& nodes : seen) EXPECT_EQ(nodes, seen[0]);
    FreeDictionaries();
}

TEST(DimseTable, NamesCommandsAndTheirFields)
{
    ASSERT_EQ(GetDimseCommandCount(), 23u);
    EXPECT_STREQ(GetDimseCommand(0)->name, "C Store Request");
    EXPECT_STREQ(GetDimseCommand(22)->name, "N Delete Response");
    EXPECT_EQ(GetDimseCommand(23), nullptr);
    std::set<uint16_t> seen;
    for (size_t i = 0; i < GetDimseCommandCount(); ++i) {
        const DimseCommand* const command = GetDimseCommand(i);
        EXPECT_EQ(FindDimseCommand(command->commandField), command);
        EXPECT_TRUE(seen.insert(command->commandField).second);
        EXPECT_STREQ(GetDimseField(command, 0)->name, "Group Length");
        for (size_t f = 0; const DimseField* field = GetDimseField(command, f); ++f) {
            const ElementEntry* const entry = FindElementEntry(MakeTag(0, field->element));
            ASSERT_NE(entry, nullptr) << field->name;
            EXPECT_EQ(entry->vr, field->vr) << field->name;
        }
        EXPECT_EQ(GetDimseField(command, command->fieldCount), nullptr);
    }
    EXPECT_STREQ(FindDimseCommand(0x8001)->name, "C Store Response");
    EXPECT_EQ(FindDimseCommand(0x7777), nullptr);
}
}  // namespace
}  // namespace talv
