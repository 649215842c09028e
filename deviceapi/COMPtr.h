#pragma once

#include "deviceapi/Contained.h"
#include "deviceapi/Unknown.h"

/// Holds one reference to an object of the device library, or nothing.
///
/// Used by one thread, or read by several. Several COMPtr to one object may be used on several threads.
///
/// If AddRef or a query throws, the pointer is empty. If Release throws, the process ends, also inside contained():
/// nobody can tell what is left of the object. Two are equal if they point to the same object, whatever their `iid`.
template <typename T>
class COMPtr
{
public:
    /// The id that the pointer was built with. Nothing depends on it: after an out-parameter call it need not be the id
    /// of what `ptr` points to.
    InterfaceId iid = IID_IUnknown;
    T* ptr = nullptr;

    /// Takes a pointer that a callee writes, with a reference. Converts to both kinds of out-parameter: the typed one
    /// and QueryInterface's untyped one.
    class Out
    {
    public:
        explicit Out(T** out) : out(out) {}
        operator T**() const { return out; }
        operator void**() const { return reinterpret_cast<void**>(out); }

    private:
        T** out;
    };

    COMPtr() = default;

    /// Takes a reference of its own.
    explicit COMPtr(T* object) : ptr(retain(object)) {}

    /// Asks `source` for the interface `id`. Empty if the source is null or writes no pointer; the result code does not
    /// count.
    explicit COMPtr(IUnknown* source, const InterfaceId& id) : iid(id)
    {
        if (source)
            static_cast<void>(contained([&] { return source->QueryInterface(id, Out(&ptr)); }, E_FAIL));
    }

    template <typename Source>
    explicit COMPtr(const COMPtr<Source>& source, const InterfaceId& id) : COMPtr(source.ptr, id)
    {
    }

    COMPtr(const COMPtr& other) : iid(other.iid), ptr(retain(other.ptr)) {}

    COMPtr& operator=(const COMPtr&) = delete;

    ~COMPtr() { attach(nullptr); }

    /// Takes over the caller's reference to `object`, as a factory returns it, and releases what was held before.
    void attach(T* object) noexcept
    {
        T* former = ptr;
        ptr = object;
        if (former)
            former->Release();
    }

    /// Hands the pointer to a call that fills it. Releases what was held first, so a call that fails leaves it empty.
    Out operator&() noexcept
    {
        attach(nullptr);
        return Out(&ptr);
    }

    /// Not tested: the caller knows that the pointer is not empty.
    T* operator->() const { return ptr; }

    explicit operator bool() const { return ptr != nullptr; }

    friend bool operator==(const COMPtr& left, const COMPtr& right) { return left.ptr == right.ptr; }

private:
    static T* retain(T* object)
    {
        return object && contained([&] { return object->AddRef(), true; }, false) ? object : nullptr;
    }
};
