#pragma once

namespace Vorn {

// A one-word holder of a pointer that does not delete its pointee: the owner of a list of boxes
// deletes the objects in an explicit pass before it clears the list.
template <class T> class Box {
public:
    Box() = default;
    explicit Box(T* object) : pointer(object) {}
    ~Box() { pointer = nullptr; }

    T* Get() const { return pointer; }
    T* operator->() const { return pointer; }
    T& operator*() const { return *pointer; }

private:
    T* pointer = nullptr;
};

} // namespace Vorn
