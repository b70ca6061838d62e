#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The paged frame index, for millions of frames where a heap node per frame costs too much.
// Records live in pages of PageItems, allocated when their first record is written; a block
// holds BlockPages page pointers, and the blocks form a doubly linked chain. The list keeps a
// cursor on the block used last, so that stepping through the records costs constant time.
// An index out of range reads a zeroed record embedded in the list: a lookup never fails.
template <class T, int PageItems = 256, int BlockPages = 256> class QuickList {
    static_assert(PageItems > 0 && BlockPages > 0);

public:
    static constexpr int32_t ItemsPerBlock = PageItems * BlockPages;

    // Walks the records in order; moves from page to page through the block cursor.
    template <class Record, class Owner> class BasicIterator {
    public:
        BasicIterator(Owner* list, int32_t index) : list(list), index(index) { Load(); }
        Record& operator*() const { return page[slot]; }
        Record* operator->() const { return page + slot; }
        BasicIterator& operator++() {
            ++index;
            if (++slot == PageItems) {
                Load();
            }
            return *this;
        }
        bool operator==(const BasicIterator& other) const { return index == other.index; }

    private:
        void Load() {
            slot = static_cast<int32_t>(static_cast<uint32_t>(index) % PageItems);
            page = index < list->count ? list->PageOf(index) : nullptr;
        }

        Owner* list;
        int32_t index;
        int32_t slot = 0;
        Record* page = nullptr;
    };
    using Iterator = BasicIterator<T, QuickList>;
    using ConstIterator = BasicIterator<const T, const QuickList>;

    QuickList() = default;
    QuickList(const QuickList&) = delete;
    QuickList& operator=(const QuickList&) = delete;
    virtual ~QuickList() { Clear(); }

    void Append(const T& record);
    // A copy of the record; the zero record for an index out of range.
    T GetAt(int32_t index) const { return ItemAt(index); }
    // The record, or the zero record for an index out of range.
    const T& ItemAt(int32_t index) const { return InRange(index) ? SlotOf(index) : zeroRecord; }
    // The record, to be changed in place; null out of range.
    T* GetItemPointer(int32_t index) { return InRange(index) ? &SlotOf(index) : nullptr; }
    // Does nothing for an index out of range.
    void ReplaceAt(int32_t index, const T& record) {
        if (InRange(index)) {
            SlotOf(index) = record;
        }
    }
    void Clear();

    int32_t Count() const { return count; }
    int32_t BlockCount() const { return blockCount; }
    // Bytes held by pages and blocks: the memory the list costs beyond its own object.
    size_t AllocatedBytes() const {
        return pageCount * sizeof(T) * PageItems + static_cast<size_t>(blockCount) * sizeof(Block);
    }
    // Blocks stepped over by lookups since the list was made; lets callers verify the cursor.
    uint64_t BlockSteps() const { return blockSteps; }

    Iterator begin() { return Iterator(this, 0); }
    Iterator end() { return Iterator(this, count); }
    ConstIterator begin() const { return ConstIterator(this, 0); }
    ConstIterator end() const { return ConstIterator(this, count); }

protected:
    struct Block {
        Block* next;
        Block* previous;
        T* pages[BlockPages];
    };

    bool InRange(int32_t index) const { return index >= 0 && index < count; }
    T& SlotOf(int32_t index) const { return PageOf(index)[static_cast<uint32_t>(index) % PageItems]; }
    T* PageOf(int32_t index) const {
        uint32_t position = static_cast<uint32_t>(index);
        return FindBlock(static_cast<int32_t>(position / ItemsPerBlock))
            ->pages[position % ItemsPerBlock / PageItems];
    }
    // Block number `number`, which must exist; walked to from the nearest of head, cursor and
    // tail, and made the cursor.
    Block* FindBlock(int32_t number) const;
    void AddBlock();

    Block* head = nullptr;
    Block* tail = nullptr;
    int32_t blockCount = 0;
    int32_t count = 0;
    mutable Block* cursorBlock = nullptr;
    mutable int32_t cursorNumber = -1;
    T zeroRecord{};
    size_t pageCount = 0;
    mutable uint64_t blockSteps = 0;
};

template <class T, int PageItems, int BlockPages>
void QuickList<T, PageItems, BlockPages>::Append(const T& record) {
    uint32_t position = static_cast<uint32_t>(count);
    if (position % ItemsPerBlock == 0) {
        AddBlock();
    }
    T*& page = tail->pages[position % ItemsPerBlock / PageItems];
    if (page == nullptr) {
        page = new T[PageItems];
        ++pageCount;
    }
    page[position % PageItems] = record;
    ++count;
}

template <class T, int PageItems, int BlockPages> void QuickList<T, PageItems, BlockPages>::AddBlock() {
    Block* block = new Block{nullptr, tail, {}};
    if (tail != nullptr) {
        tail->next = block;
    } else {
        head = block;
    }
    tail = block;
    ++blockCount;
}

template <class T, int PageItems, int BlockPages> void QuickList<T, PageItems, BlockPages>::Clear() {
    for (Block* block = head; block != nullptr;) {
        Block* next = block->next;
        for (T* page : block->pages) {
            delete[] page;
        }
        delete block;
        block = next;
    }
    head = tail = cursorBlock = nullptr;
    blockCount = 0;
    count = 0;
    cursorNumber = -1;
    pageCount = 0;
}

template <class T, int PageItems, int BlockPages>
typename QuickList<T, PageItems, BlockPages>::Block*
QuickList<T, PageItems, BlockPages>::FindBlock(int32_t number) const {
    if (number == cursorNumber) {
        return cursorBlock;
    }
    Block* block = head;
    int32_t at = 0;
    int32_t distance = number;
    if (blockCount - 1 - number < distance) {
        block = tail;
        at = blockCount - 1;
        distance = at - number;
    }
    if (cursorBlock != nullptr) {
        int32_t fromCursor = number - cursorNumber;
        if ((fromCursor < 0 ? -fromCursor : fromCursor) < distance) {
            block = cursorBlock;
            at = cursorNumber;
        }
    }
    for (; at < number; ++at, ++blockSteps) {
        block = block->next;
    }
    for (; at > number; --at, ++blockSteps) {
        block = block->previous;
    }
    cursorBlock = block;
    cursorNumber = number;
    return block;
}

} // namespace Vorn::Vorncast::Decoders
