#pragma once

#include <string>

#include "preferences/ReadReport.h"

inline namespace ostrivane
{

class PreferenceStore;

/// Parses the text of a preference file, any bytes, into the table of `store`. False if the text is refused; then the
/// table is as it was, as it is after std::bad_alloc. The report, if one is given, is overwritten.
///
/// Accepts what the XML parser's document accepts, at any depth and with any number of attributes, and takes time and
/// memory in proportion to the text, whatever it holds.
bool parsePreferences(std::string text, PreferenceStore& store, ReadReport* report = nullptr);

}
