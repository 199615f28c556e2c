#include <algorithm>
#include <atomic>
#include <iterator>
#include <string_view>

#include "dicom/allocator.h"
#include "dicom/data_set.h"
#include "dicom/dictionary.h"
#include "dicom/dictionary_tables.h"

// The whole IOD tree has 46,000 nodes, because the modules are repeated under every IOD that uses them, and a
// process looks at few of them or none. So the tables stay as compact as the standard's text (a module stands
// once), and the nodes of one IOD are linked, in a single block, when that IOD is first asked for.

namespace talv {
namespace {
constexpr uint32_t kTagMediaStorageSopClass = MakeTag(0x0002, 0x0002);
constexpr uint32_t kTagSopClass = MakeTag(0x0008, 0x0016);

/// The nodes of one IOD, its own first.
struct IodBlock
{
    void (*free)(void* block);
    IodNode nodes[1];  ///< as many as there are
};

/// Blocks are made without a lock: when two threads ask for the same IOD at once, one block is kept.
constinit std::atomic<IodBlock*> blocks[kIodCount] = {};

const char* DescriptionOf(uint32_t tag)
{
    const auto* const row = std::lower_bound(
        std::begin(kDescriptionTable), std::end(kDescriptionTable), tag,
        [](const DescriptionRow& candidate, uint32_t wanted) { return candidate.tag < wanted; });
    return row != std::end(kDescriptionTable) && row->tag == tag ? row->text : nullptr;
}

/// Links `module` with its attributes under `iod`, taking nodes from `next` on; returns the node after them.
IodNode* LinkModule(Tree<IodNode>* tree, IodNode* iod, const ModuleUseRow& use, IodNode* next)
{
    const ModuleRow& row = kModuleTable[use.module - 1];
    IodNode* const module = next++;
    module->kind = kIodKindModule;
    module->usage = use.usage;
    module->code = use.module;
    module->name = row.name;
    LinkNode(tree, module, iod, LinkPosition::lastChild);

    IodNode* parent = module;
    unsigned parentLevel = 0;
    for (size_t i = 0; i < row.attributeCount; ++i) {
        const AttributeRow& attribute = kAttributeTable[row.firstAttribute + i];
        while (parentLevel >= attribute.level) {
            parent = parent->parent;
            --parentLevel;
        }
        IodNode* const node = next++;
        node->kind = kIodKindAttribute;
        node->usage = attribute.usage;
        node->code = attribute.tag;
        node->name =
            FindElementEntry(attribute.tag)->name;  // the table's generator refuses unnamed attributes
        node->description = DescriptionOf(attribute.tag);
        LinkNode(tree, node, parent, LinkPosition::lastChild);
        parent = node;
        parentLevel = attribute.level;
    }
    return next;
}

/// Makes the block of IOD `code`; null when there is no memory.
IodBlock* LinkIod(uint32_t code)
{
    const IodRow& row = kIodTable[code];
    size_t count = 1 + row.useCount;
    for (size_t i = 0; i < row.useCount; ++i)
        count += kModuleTable[kModuleUseTable[row.firstUse + i].module - 1].attributeCount;

    IodBlock* const block =
        static_cast<IodBlock*>(dicomAllocator.allocate(1, sizeof(IodBlock) + (count - 1) * sizeof(IodNode)));
    if (block == nullptr) return nullptr;
    block->free = dicomAllocator.free;

    Tree<IodNode> tree;
    IodNode* const iod = block->nodes;
    iod->kind = kIodKindIod;
    iod->code = code;
    iod->name = row.name;
    iod->description = row.sopClassUids;
    LinkNode(&tree, iod, static_cast<IodNode*>(nullptr), LinkPosition::lastChild);
    IodNode* next = iod + 1;
    for (size_t i = 0; i < row.useCount; ++i)
        next = LinkModule(&tree, iod, kModuleUseTable[row.firstUse + i], next);
    return block;
}

/// True when `list`, read as texts separated by backslashes, holds `wanted`.
bool ListHolds(std::string_view list, std::string_view wanted)
{
    for (;;) {
        const size_t end = list.find('\\');
        if (list.substr(0, end) == wanted) return true;
        if (end == std::string_view::npos) return false;
        list.remove_prefix(end + 1);
    }
}
}  // namespace

bool InitDictionaries()
{
    return kElementTable[0].tag == 0 && FindElementEntry(kTagPixelData) != nullptr;
}

void FreeDictionaries()
{
    for (std::atomic<IodBlock*>& place : blocks)
        if (IodBlock* const block = place.exchange(nullptr)) block->free(block);
}

const IodNode* GetIod(uint32_t code)
{
    if (code >= kIodCount) return nullptr;
    IodBlock* known = blocks[code].load(std::memory_order_acquire);
    if (known != nullptr) return known->nodes;

    IodBlock* const made = LinkIod(code);
    if (made == nullptr) return nullptr;
    if (blocks[code].compare_exchange_strong(known, made, std::memory_order_acq_rel)) return made->nodes;
    made->free(made);
    return known->nodes;
}

const IodNode* GetFirstIod()
{
    return GetIod(0);
}

const IodNode* GetNextIod(const IodNode* iod)
{
    return iod != nullptr && iod->kind == kIodKindIod ? GetIod(iod->code + 1) : nullptr;
}

const IodNode* GetIodChild(const IodNode* node)
{
    return node != nullptr ? node->firstChild : nullptr;
}

const IodNode* GetIodSibling(const IodNode* node)
{
    if (node == nullptr) return nullptr;
    return node->kind == kIodKindIod ? GetNextIod(node) : node->nextSibling;
}

const IodNode* FindIodChild(const IodNode* node, uint32_t code)
{
    for (const IodNode* child = GetIodChild(node); child != nullptr; child = child->nextSibling)
        if (child->code == code) return child;
    return nullptr;
}

uint16_t FindIodForDataSet(DicomDataSet* dataSet)
{
    char uid[256];
    if (dataSet == nullptr ||
        (!dataSet->GetTagValue(nullptr, kTagMediaStorageSopClass, uid, 0, sizeof uid, 0) &&
         !dataSet->GetTagValue(nullptr, kTagSopClass, uid, 0, sizeof uid, 0)))
        return kNoIod;
    for (size_t code = 0; code < kIodCount; ++code)
        if (ListHolds(kIodTable[code].sopClassUids, uid)) return static_cast<uint16_t>(code);
    return kNoIod;
}
}  // namespace talv
