#pragma once

namespace talv {
/// The five links every tree node begins with. None of them owns what it points at.
template <class Node>
struct TreeLinks
{
    Node* parent = nullptr;  ///< null at the top level
    Node* firstChild = nullptr;
    Node* lastChild = nullptr;
    Node* prevSibling = nullptr;
    Node* nextSibling = nullptr;
};

/// Holder of a tree's top level.
template <class Node>
struct Tree
{
    Node* first = nullptr;
    Node* last = nullptr;
};

/// Where LinkNode puts a new node.
enum class LinkPosition
{
    firstChild = 0,    ///< of the reference; of the top level when the reference is null
    lastChild = 1,     ///< likewise
    firstSibling = 2,  ///< first child of the reference's parent
    lastSibling = 3,
    after = 4,   ///< directly after the reference; last of the top level when the reference is null
    before = 5,  ///< directly before the reference; first of the top level when the reference is null
};

/// Links `node`, which is in no tree, relative to `reference`, which is in `tree` or null.
template <class Node>
void LinkNode(Tree<Node>* tree, Node* node, Node* reference, LinkPosition position)
{
    const bool asChild = position == LinkPosition::firstChild || position == LinkPosition::lastChild;
    Node* const parent = asChild || reference == nullptr ? reference : reference->parent;
    Node*& first = parent != nullptr ? parent->firstChild : tree->first;
    Node*& last = parent != nullptr ? parent->lastChild : tree->last;

    Node* previous = nullptr;
    if (position == LinkPosition::lastChild || position == LinkPosition::lastSibling ||
        (position == LinkPosition::after && reference == nullptr))
        previous = last;
    else if (position == LinkPosition::after)
        previous = reference;
    else if (position == LinkPosition::before && reference != nullptr)
        previous = reference->prevSibling;
    Node* const next = previous != nullptr ? previous->nextSibling : first;

    node->parent = parent;
    node->prevSibling = previous;
    node->nextSibling = next;
    (previous != nullptr ? previous->nextSibling : first) = node;
    (next != nullptr ? next->prevSibling : last) = node;
}

/// Takes `node`, with all below it, out of `tree`.
template <class Node>
void UnlinkNode(Tree<Node>* tree, Node* node)
{
    Node*& first = node->parent != nullptr ? node->parent->firstChild : tree->first;
    Node*& last = node->parent != nullptr ? node->parent->lastChild : tree->last;
    (node->prevSibling != nullptr ? node->prevSibling->nextSibling : first) = node->nextSibling;
    (node->nextSibling != nullptr ? node->nextSibling->prevSibling : last) = node->prevSibling;
    node->parent = node->prevSibling = node->nextSibling = nullptr;
}

/// The next node in depth-first pre-order; null after the last.
template <class Node>
Node* NextInPreOrder(const Node* node)
{
    if (node->firstChild != nullptr) return node->firstChild;
    while (node != nullptr && node->nextSibling == nullptr) node = node->parent;
    return node != nullptr ? node->nextSibling : nullptr;
}
}  // namespace talv
