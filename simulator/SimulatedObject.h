#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "deviceapi/Unknown.h"
#include "simulator/CallLog.h"
#include "simulator/Faults.h"
#include "simulator/Ledger.h"

/// A reference was given back that was never held: nothing after that could be trusted.
[[noreturn]] void releasedTooOften(const char* what);

/// What is kept of an object under its id, from before it comes until after it has gone.
struct Record
{
    Faults faults;
    CallLog calls;
};

/// One object behind the boundary, with all the interfaces that it shows there: a device, or a single thing such as the
/// discovery. Safe from any thread.
///
/// It lives until its maker has called release() and the last reference on any of its interfaces has been given back.
class SimulatedObject
{
public:
    SimulatedObject(Ledger& counted, std::string holder, std::shared_ptr<Record> kept);
    SimulatedObject(const SimulatedObject&) = delete;
    SimulatedObject& operator=(const SimulatedObject&) = delete;

    /// Answers a query on the interface `asked`; on success one reference on the one found goes to the caller. `label`
    /// is for the call log.
    virtual ResultCode query(const IUnknown& asked, const char* label, InterfaceId iid, void** out);

    /// Keeps the object alive without counting as a reference of the other side.
    void retain();
    /// Ends one retain(), or the maker's hold. The object may be gone when this returns.
    void release();
    /// The same for references of the other side, which the ledger counts.
    void addReference();
    void removeReference();

    /// Notes the call, then waits or gives a code if the object is to misbehave.
    ResultCode recordCall(const char* label, const char* operation, const std::string& argument = {});

    const std::shared_ptr<Record> record;

protected:
    virtual ~SimulatedObject() = default;

    Ledger& ledger;
    const std::string name;

private:
    std::atomic<int64_t> holders = 1;
};

/// One interface of an object of the class `Object`. `Base` is what the other side sees, `label` what the call log
/// calls it.
template <typename Base, typename Object = SimulatedObject>
class Interface : public Base
{
public:
    Interface(Object& owner, const char* text) : object(owner), label(text) {}

    ResultCode QueryInterface(InterfaceId iid, void** out) override { return object.query(*this, label, iid, out); }

    int64_t AddRef() override
    {
        object.addReference();
        return ++references;
    }

    int64_t Release() override
    {
        const int64_t left = --references;
        if (left < 0)
            releasedTooOften(label);
        object.removeReference();
        return left;
    }

protected:
    ResultCode recordCall(const char* operation, const std::string& argument = {})
    {
        return object.recordCall(label, operation, argument);
    }

    Object& object;
    const char* const label;

private:
    std::atomic<int64_t> references = 0;
};

/// A four-character code as text.
std::string codeText(uint32_t code);
