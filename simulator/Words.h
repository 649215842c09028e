#pragma once

#include <string>
#include <vector>

// The one list of what simctl can say: simctl shows it, the shell completes by it, and the simulator holds each line to
// it.

struct Argument
{
    const char* name;
    const char* description;
    std::vector<std::string> choices = {}; ///< Empty if it can be anything.
    bool cards = false;                    ///< The ids of the plugged cards are choices too.
    size_t minCount = 1;
    size_t maxCount = 1;
};

struct Word
{
    const char* name;
    const char* description;
    std::vector<Argument> arguments = {};
};

extern const std::vector<Word> allWords;
/// Null if there is no such word.
const Word* findWord(const std::string& name);

/// Calls that can fail or be slow.
extern const std::vector<std::string> callNames;
/// Interfaces that can be absent.
extern const std::vector<std::string> interfaceNames;
