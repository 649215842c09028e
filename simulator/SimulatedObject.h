#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "deviceapi/Unknown.h"
#include "simulator/CallLog.h"
#include "simulator/Faults.h"
#include "simulator/Ledger.h"

/// Stands at the positions of a table that nobody may call.
[[noreturn]] void placeholderCalled();

/// A reference was given back that was never held: nothing after that could be trusted.
[[noreturn]] void releasedTooOften(const char* what);

/// What is kept of an object under its id, from before it comes until after it has gone.
struct Record
{
    Faults faults;
    CallLog calls;
};

/// One object behind the boundary, with all the faces that it shows there: a device with its interfaces, or a single
/// thing such as the discovery.
///
/// It lives until its maker has called abandon() and the last reference on any of its faces has been given back.
class SimulatedObject
{
public:
    SimulatedObject(Ledger& ledger, std::string name, std::shared_ptr<Record> record);
    SimulatedObject(const SimulatedObject&) = delete;
    SimulatedObject& operator=(const SimulatedObject&) = delete;

    /// Answers a query on one face; on success one reference on the face found goes to the caller.
    virtual ResultCode query(const char* face, InterfaceId iid, void** out);

    /// The maker's end of it. The object may be gone when this returns.
    void abandon();
    /// Keeps the object alive without counting as a reference of the other side; each is ended by abandon().
    void hold();

    /// Called by the faces.
    void referenceAdded();
    void referenceRemoved();

    /// Notes the call, then waits or gives a code if the object is to misbehave.
    ResultCode called(const char* face, const char* operation, const std::string& argument = {});

    const std::shared_ptr<Record> record;

protected:
    virtual ~SimulatedObject() = default;

    Ledger& ledger;
    const std::string name;

private:
    std::atomic<int64_t> holders = 1;
};

/// One interface of an object of the class `Owner`. `Interface` is what the other side sees.
template <typename Interface, typename Owner = SimulatedObject>
class Face : public Interface
{
public:
    Face(Owner& object, const char* face) : object(object), face(face) {}

    ResultCode QueryInterface(InterfaceId iid, void** out) override { return object.query(face, iid, out); }

    int64_t AddRef() override
    {
        object.referenceAdded();
        return ++references;
    }

    int64_t Release() override
    {
        const int64_t left = --references;
        if (left < 0)
            releasedTooOften(face);
        object.referenceRemoved();
        return left;
    }

protected:
    Owner& object;
    const char* const face;

private:
    std::atomic<int64_t> references = 0;
};

/// A four-character code as text.
std::string codeText(uint32_t code);
