#include "simulator/SimulatedObject.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

SimulatedObject::SimulatedObject(Ledger& ledger, std::string name, std::shared_ptr<Record> record)
    : record(std::move(record)), ledger(ledger), name(std::move(name))
{
}

ResultCode SimulatedObject::query(const char*, InterfaceId, void**) { return E_NOINTERFACE; }

void SimulatedObject::hold() { ++holders; }

void SimulatedObject::abandon()
{
    if (--holders == 0)
        delete this;
}

void SimulatedObject::referenceAdded()
{
    ledger.add(name);
    hold();
}

void SimulatedObject::referenceRemoved()
{
    ledger.remove(name);
    abandon();
}

ResultCode SimulatedObject::called(const char* face, const char* operation, const std::string& argument)
{
    record->calls.add(face, operation, argument);
    return record->faults.answer(operation, argument);
}

void placeholderCalled()
{
    fprintf(stderr, "simulator: a position without a name was called\n");
    abort();
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
