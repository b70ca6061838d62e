#pragma once

#include "model/support/Comparer.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace Vorn {

// A doubly linked list with an index on every node and a cursor on the node last reached, so
// that a run of ascending (or descending) indices costs one step each. Each item is copied into
// one heap block together with its node, so that a list of a million frames makes a million
// allocations and walks memory that lies together.
template <class T> class List {
public:
    struct Node {
        Node* next;
        Node* previous;
        int32_t index;
        T* item;
    };

    List() = default;
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    virtual ~List() { Clear(); }

    // Stable. Short lists run the plain bubble sort; long ones a merge sort with the same result.
    virtual void Sort(Comparer<T>& comparer);

    void Add(const T& item);
    Node* GetNode(int32_t index);
    T* GetItemPointer(int32_t index) {
        Node* node = GetNode(index);
        return node != nullptr ? node->item : nullptr;
    }
    void RemoveAt(int32_t index);
    void Clear();

    int32_t Count() const { return count; }
    Node* Head() const { return head; }
    Node* Tail() const { return tail; }
    Node* Cursor() const { return cursor; }

    // Node steps taken by GetNode walks since the list was made; lets callers verify the cursor.
    uint64_t WalkSteps() const { return walkSteps; }

protected:
    static constexpr int32_t BubbleSortLimit = 64;

    Node* NewNode(const T& item);
    void DeleteNode(Node* node);

    Node* head = nullptr;
    Node* tail = nullptr;
    Node* cursor = nullptr;
    int32_t cursorIndex = -1;
    int32_t count = 0;
    uint64_t walkSteps = 0;
};

template <class T> typename List<T>::Node* List<T>::NewNode(const T& item) {
    // The item lives right behind its node, in the same block.
    constexpr size_t itemOffset = (sizeof(Node) + alignof(T) - 1) / alignof(T) * alignof(T);
    void* block = ::operator new(itemOffset + sizeof(T),
                                 std::align_val_t(alignof(Node) > alignof(T) ? alignof(Node) : alignof(T)));
    Node* node = static_cast<Node*>(block);
    node->next = nullptr;
    node->previous = tail;
    node->index = count;
    try {
        node->item = new (static_cast<char*>(block) + itemOffset) T(item);
    } catch (...) {
        ::operator delete(block, std::align_val_t(alignof(Node) > alignof(T) ? alignof(Node) : alignof(T)));
        throw;
    }
    return node;
}

template <class T> void List<T>::DeleteNode(Node* node) {
    node->item->~T();
    ::operator delete(node, std::align_val_t(alignof(Node) > alignof(T) ? alignof(Node) : alignof(T)));
}

template <class T> void List<T>::Add(const T& item) {
    Node* node = NewNode(item);
    if (tail != nullptr) {
        tail->next = node;
    } else {
        head = node;
    }
    tail = node;
    ++count;
}

template <class T> typename List<T>::Node* List<T>::GetNode(int32_t index) {
    if (head == nullptr) {
        return nullptr;
    }
    Node* node = head;
    if (cursor != nullptr) {
        int64_t fromCursor = static_cast<int64_t>(index) - cursor->index;
        if ((fromCursor < 0 ? -fromCursor : fromCursor) < index) {
            node = cursor;
        }
    }
    while (node != nullptr && node->index < index) {
        node = node->next;
        ++walkSteps;
    }
    while (node != nullptr && node->index > index) {
        node = node->previous;
        ++walkSteps;
    }
    if (node != nullptr) {
        cursor = node;
    }
    return node;
}

template <class T> void List<T>::RemoveAt(int32_t index) {
    Node* node = GetNode(index);
    if (node == nullptr) {
        return;
    }
    if (node->previous != nullptr) {
        node->previous->next = node->next;
    } else {
        head = node->next;
    }
    if (node->next != nullptr) {
        node->next->previous = node->previous;
    } else {
        tail = node->previous;
    }
    if (cursor == node) {
        cursor = node->next != nullptr ? node->next : node->previous;
    }
    for (Node* following = node->next; following != nullptr; following = following->next) {
        --following->index;
    }
    DeleteNode(node);
    --count;
}

template <class T> void List<T>::Clear() {
    Node* node = head;
    while (node != nullptr) {
        Node* next = node->next;
        DeleteNode(node);
        node = next;
    }
    head = tail = cursor = nullptr;
    cursorIndex = -1;
    count = 0;
}

template <class T> void List<T>::Sort(Comparer<T>& comparer) {
    if (count < 2) {
        return;
    }
    if (count <= BubbleSortLimit) {
        bool swapped = true;
        while (swapped) {
            swapped = false;
            for (Node* node = head; node->next != nullptr; node = node->next) {
                if (comparer.Compare(node->item, node->next->item) > 0) {
                    std::swap(*node->item, *node->next->item);
                    swapped = true;
                }
            }
        }
        return;
    }
    // The bubble sort moves b before a exactly when Compare(a, b) is positive; a stable merge sort
    // with that order gives the same sequence.
    std::vector<T> items;
    items.reserve(static_cast<size_t>(count));
    for (Node* node = head; node != nullptr; node = node->next) {
        items.push_back(std::move(*node->item));
    }
    std::stable_sort(items.begin(), items.end(),
                     [&](const T& a, const T& b) { return comparer.Compare(&b, &a) > 0; });
    size_t position = 0;
    for (Node* node = head; node != nullptr; node = node->next) {
        *node->item = std::move(items[position++]);
    }
}

} // namespace Vorn
