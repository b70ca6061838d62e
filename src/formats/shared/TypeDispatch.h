#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// One row of a dispatch table: a chunk or box type and the step that reads it. Variants of one
// record (a 32-bit and a 64-bit form, say) name the same step, which receives the type.
template <class Step> struct TypeStep {
    uint32_t type;
    Step step;
};

// Calls `call(step)` with the step of `type`; false when the table has none.
template <class Step, size_t Rows, class Call>
bool DispatchByType(const TypeStep<Step> (&table)[Rows], uint32_t type, Call&& call) {
    for (const TypeStep<Step>& row : table) {
        if (row.type == type) {
            call(row.step);
            return true;
        }
    }
    return false;
}

} // namespace Vorn::Vorncast::Decoders
