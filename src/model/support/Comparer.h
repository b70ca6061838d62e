#pragma once

namespace Vorn {

template <class T> class Comparer {
public:
    virtual ~Comparer() = default;
    // Negative, 0 or positive as a sorts before, with or after b.
    virtual int Compare(const T* a, const T* b) = 0;
};

} // namespace Vorn
