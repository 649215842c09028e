#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

inline namespace ostrivane
{

struct NamedNumber
{
    uint32_t number;
    const char* name;
};

/// One vocabulary, read in both directions. What it does not hold counts as `fallback`, so no lookup fails.
template <size_t size>
struct NameTable
{
    NamedNumber fallback;
    NamedNumber entries[size];

    /// Lives as long as the process.
    constexpr const char* name(uint32_t number) const
    {
        for (const NamedNumber& entry : entries)
            if (entry.number == number)
                return entry.name;
        return fallback.name;
    }

    /// Exact, with case. `name` must not be null.
    constexpr uint32_t number(const char* name) const
    {
        for (const NamedNumber& entry : entries)
            if (std::string_view(entry.name) == name)
                return entry.number;
        return fallback.number;
    }
};

template <size_t size>
NameTable(NamedNumber, const NamedNumber (&)[size]) -> NameTable<size>;

}
