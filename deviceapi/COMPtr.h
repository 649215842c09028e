#pragma once

#include "deviceapi/Contained.h"
#include "deviceapi/Unknown.h"

/// Holds one reference to an object of the device library, or nothing.
///
/// What AddRef throws leaves the pointer empty, as does a query that throws. What Release throws ends the process: nobody
/// can tell what is left of the object. A plain value without a lock: one COMPtr is used by one thread at a time, or shared read-only. Distinct COMPtrs to
/// one object may be used on distinct threads. Two are equal if they point to the same object, whatever their `iid`.
template <typename T>
class COMPtr
{
public:
    /// The id that the pointer was built with. Carried along, but nothing is decided by it: after an out-parameter
    /// call it need not be the id of what `ptr` points to.
    InterfaceId iid = IID_IUnknown;
    T* ptr = nullptr;

    /// Where a callee may write a pointer that carries a reference. Fits both kinds of out-parameter: the typed one
    /// and the untyped one of QueryInterface.
    class Out
    {
    public:
        explicit Out(T** target) : target(target) {}
        operator T**() const { return target; }
        operator void**() const { return reinterpret_cast<void**>(target); }

    private:
        T** target;
    };

    COMPtr() = default;

    /// Shares an object that somebody else holds.
    explicit COMPtr(T* p) : ptr(share(p)) {}

    /// Asks `source` for the interface `id`. Stays empty if the source is null or does not have it: the pointer tells,
    /// the result code does not count.
    explicit COMPtr(IUnknown* source, const InterfaceId& id) : iid(id)
    {
        if (source)
            static_cast<void>(contained([&] { return source->QueryInterface(id, Out(&ptr)); }, E_FAIL));
    }

    template <typename Source>
    explicit COMPtr(const COMPtr<Source>& source, const InterfaceId& id) : COMPtr(source.ptr, id)
    {
    }

    COMPtr(const COMPtr& other) : iid(other.iid), ptr(share(other.ptr)) {}

    COMPtr& operator=(const COMPtr&) = delete;

    ~COMPtr() { attach(nullptr); }

    /// Takes over a reference that `p` already carries, as a factory returns it, and releases what was held before.
    void attach(T* p)
    {
        T* former = ptr;
        ptr = p;
        if (former)
            former->Release();
    }

    /// Opens the pointer to a call that fills it. Releases what was held before the call is made, so that a call that
    /// fails leaves it empty.
    Out operator&()
    {
        attach(nullptr);
        return Out(&ptr);
    }

    /// Not tested: the caller knows that the pointer is not empty.
    T* operator->() const { return ptr; }

    explicit operator bool() const { return ptr != nullptr; }

    friend bool operator==(const COMPtr& left, const COMPtr& right) { return left.ptr == right.ptr; }

private:
    static T* share(T* p) { return p && contained([&] { return p->AddRef(), true; }, false) ? p : nullptr; }
};
