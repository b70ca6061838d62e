#pragma once

#include "core/binary/ByteView.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Vorn::Vorncast::Decoders {

// The fixed-size rows of an index table (sample tables, idx1, OpenDML indexes, recorder indexes):
// `count` rows of `rowSize` bytes from `at` in `table`. A count is a stored value like any other,
// so it is checked before a row is read or a list reserved: the rows must lie inside the table,
// and there may be no more than `limit` of them (for an index read piecewise, the rows the file
// can hold behind it). A table whose rows do not fit holds none.
class IndexRows {
public:
    static constexpr uint64_t NoLimit = std::numeric_limits<uint64_t>::max();

    IndexRows(ByteView table, size_t at, uint64_t count, size_t rowSize, uint64_t limit = NoLimit)
        : rows(table.From(at)), rowSize(rowSize),
          count(Fit(table, at, count, rowSize, limit) ? static_cast<uint32_t>(count) : 0),
          fits(Fit(table, at, count, rowSize, limit)) {}

    // False for rows that would pass the end of the table or the limit; no rows always fit.
    static bool Fit(ByteView table, size_t at, uint64_t count, size_t rowSize, uint64_t limit = NoLimit) {
        const size_t room = rowSize > 0 && at <= table.Size() ? (table.Size() - at) / rowSize : 0;
        return count <= limit && count <= std::numeric_limits<uint32_t>::max() && count <= room;
    }

    bool Fits() const { return fits; }
    uint32_t Count() const { return count; }
    // A reader over row `index`, failed outside the table.
    ByteReader Row(uint32_t index) const {
        return index < count ? ByteReader(rows.Sub(size_t{index} * rowSize, rowSize)) : Failed();
    }
    // Calls visit(ByteReader&) for each row in order.
    template <class Visit> void ForEach(Visit&& visit) const {
        for (uint32_t index = 0; index < count; ++index) {
            ByteReader row(rows.Sub(size_t{index} * rowSize, rowSize));
            visit(row);
        }
    }

private:
    static ByteReader Failed() {
        ByteReader reader;
        reader.Skip(1);
        return reader;
    }

    ByteView rows;
    size_t rowSize;
    uint32_t count;
    bool fits;
};

} // namespace Vorn::Vorncast::Decoders
