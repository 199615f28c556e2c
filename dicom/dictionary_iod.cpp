#include <atomic>
#include <mutex>
#include <new>
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

struct IodTree
{
    std::mutex lock;  ///< held while an IOD's nodes are linked and while all are freed
    std::atomic<const IodNode*> roots[kIodCount] = {};  ///< each IOD's block begins with its own node
    void (*free[kIodCount])(void* block) = {};
};

constinit IodTree iods;

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
        LinkNode(tree, node, parent, LinkPosition::lastChild);
        parent = node;
        parentLevel = attribute.level;
    }
    return next;
}

/// Links the nodes of IOD `code` and returns its own; null when there is no memory. The caller holds the
/// lock.
IodNode* LinkIod(uint32_t code)
{
    const IodRow& row = kIodTable[code];
    size_t count = 1 + row.useCount;
    for (size_t i = 0; i < row.useCount; ++i)
        count += kModuleTable[kModuleUseTable[row.firstUse + i].module - 1].attributeCount;

    IodNode* const nodes = static_cast<IodNode*>(dicomAllocator.allocate(count, sizeof(IodNode)));
    if (nodes == nullptr) return nullptr;
    for (size_t i = 0; i < count; ++i) new (&nodes[i]) IodNode;

    Tree<IodNode> tree;
    IodNode* const iod = nodes;
    iod->kind = kIodKindIod;
    iod->code = code;
    iod->name = row.name;
    iod->description = row.sopClassUids;
    LinkNode(&tree, iod, static_cast<IodNode*>(nullptr), LinkPosition::lastChild);
    IodNode* next = nodes + 1;
    for (size_t i = 0; i < row.useCount; ++i)
        next = LinkModule(&tree, iod, kModuleUseTable[row.firstUse + i], next);
    return iod;
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
    const std::lock_guard guard(iods.lock);
    for (size_t code = 0; code < kIodCount; ++code)
        if (const IodNode* const root = iods.roots[code].exchange(nullptr))
            iods.free[code](const_cast<IodNode*>(root));
}

const IodNode* GetIod(uint32_t code)
{
    if (code >= kIodCount) return nullptr;
    if (const IodNode* const root = iods.roots[code].load(std::memory_order_acquire)) return root;

    const std::lock_guard guard(iods.lock);
    if (const IodNode* const root = iods.roots[code].load(std::memory_order_relaxed)) return root;
    const IodNode* const root = LinkIod(code);
    if (root == nullptr) return nullptr;
    iods.free[code] = dicomAllocator.free;
    iods.roots[code].store(root, std::memory_order_release);
    return root;
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
