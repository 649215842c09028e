#include "simulator/SimulatedObject.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

SimulatedObject::SimulatedObject(Ledger& counted, std::string holder, std::shared_ptr<Record> kept)
    : record(std::move(kept)), ledger(counted), name(std::move(holder))
{
}

ResultCode SimulatedObject::query(const IUnknown&, const char*, InterfaceId, void**) { return E_NOINTERFACE; }

void SimulatedObject::retain() { ++holders; }

void SimulatedObject::release()
{
    if (--holders == 0)
        delete this;
}

void SimulatedObject::addReference()
{
    ledger.add(name);
    retain();
}

void SimulatedObject::removeReference()
{
    ledger.remove(name);
    release();
}

ResultCode SimulatedObject::recordCall(const char* label, const char* operation, const std::string& argument)
{
    record->calls.add(label, operation, argument);
    return record->faults.answer(operation, argument);
}

void releasedTooOften(const char* what)
{
    fprintf(stderr, "simulator: one Release too many on %s\n", what);
    abort();
}

std::string codeText(uint32_t code)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(code >> shift & 0xFF);
    return text;
}
