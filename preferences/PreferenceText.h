#pragma once

#include <string>

#include "preferences/ReadReport.h"

class PreferenceStore;

/// Turns a preference file's text, any bytes, into a table: true if the text is accepted, and then `store` has what it
/// says and nothing else. False leaves the table alone. The report, if there is one, is written anew.
///
/// One pass, without a tree: elements, which alone nest, are walked here with a stack of names, and all else is read by
/// the XML parser's own pieces. Accepted is what the parser's document accepts, and read as it is read there, of any
/// depth and with any number of attributes. Time and memory grow with the text, whatever it holds. Throws
/// std::bad_alloc, and then the table is as it was.
bool readPreferences(std::string text, PreferenceStore& store, ReadReport* report = nullptr);
