#pragma once

#include <string>

/// Whether the XML parser can be given the text: it recurses into nested elements, so a deep document would overflow
/// the stack, and compares each attribute of an element with all before it. Refused are more than 64 levels and more
/// than 64 attributes of one element; the preference file has three and two.
///
/// Walks through the text as the parser does, so that nothing counts that it takes for a comment, a value or the like,
/// and all counts that it takes for an element. Linear in the text. `text` holds no NUL and no carriage return, and
/// ends in three bytes of space.
bool fitsParser(const std::string& text);
