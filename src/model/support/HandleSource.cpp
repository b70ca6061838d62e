#include "model/support/HandleSource.h"

#include <cstdint>
#include <deque>
#include <vector>

namespace Vorn {
namespace {

// Slot index in the low bits, generation in the high bits (kept below the sign bit).
constexpr uint32_t IndexBits = 22;
constexpr uint32_t IndexMask = (1u << IndexBits) - 1;
constexpr uint32_t GenerationMask = (1u << (31 - IndexBits)) - 1;

struct Slot {
    void* object = nullptr;
    uint32_t generation = 0;
};

struct Table {
    std::vector<Slot> slots;
    // Freed slots are reused oldest first, so that a handle value comes back as late as possible.
    std::deque<uint32_t> freeSlots;
    int live = 0;
};

Table& TheTable() {
    static Table table;
    return table;
}

int MakeHandle(uint32_t index, uint32_t generation) {
    return static_cast<int>(((generation & GenerationMask) << IndexBits) | (index + 1));
}

Slot* Lookup(int handle) {
    if (handle <= 0) {
        return nullptr;
    }
    auto value = static_cast<uint32_t>(handle);
    uint32_t position = value & IndexMask;
    Table& table = TheTable();
    if (position == 0 || position > table.slots.size()) {
        return nullptr;
    }
    Slot& slot = table.slots[position - 1];
    if (slot.object == nullptr || (slot.generation & GenerationMask) != (value >> IndexBits)) {
        return nullptr;
    }
    return &slot;
}

} // namespace

int HandleSource::Create(void* object) {
    Table& table = TheTable();
    uint32_t index;
    if (!table.freeSlots.empty() && (table.slots.size() >= IndexMask || table.freeSlots.size() > 64)) {
        index = table.freeSlots.front();
        table.freeSlots.pop_front();
    } else if (table.slots.size() < IndexMask) {
        index = static_cast<uint32_t>(table.slots.size());
        table.slots.push_back({});
    } else {
        return 0;
    }
    Slot& slot = table.slots[index];
    slot.object = object;
    ++table.live;
    return MakeHandle(index, slot.generation);
}

void* HandleSource::Get(int handle) {
    Slot* slot = Lookup(handle);
    return slot ? slot->object : nullptr;
}

void HandleSource::Destroy(int handle) {
    Slot* slot = Lookup(handle);
    if (slot == nullptr) {
        return;
    }
    slot->object = nullptr;
    ++slot->generation;
    --TheTable().live;
    TheTable().freeSlots.push_back(static_cast<uint32_t>(slot - TheTable().slots.data()));
}

int HandleSource::LiveCount() {
    return TheTable().live;
}

} // namespace Vorn
