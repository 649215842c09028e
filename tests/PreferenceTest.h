#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"
#include "tests/TestMachine.h"

/// Stores on a user's file, in a home of the test's own.
class PreferenceTest : public testing::Test
{
protected:
    PreferenceTest()
    {
        setenv("HOME", home.folder.c_str(), 1);
        std::filesystem::create_directories(folder);
    }

    void put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

    /// The document with this under its root.
    static std::string document(const std::string& inner)
    {
        return "<QuillstonePreferences>" + inner + "</QuillstonePreferences>";
    }

    /// The whole table as text: "key[name=value,name=value] key[]".
    static std::string tableOf(const PreferenceStore& store)
    {
        std::string text;
        for (const auto& [key, attributes] : store.table)
        {
            text += (text.empty() ? "" : " ") + key + "[";
            for (const auto& [name, value] : attributes)
                text += (text.ends_with('[') ? "" : ",") + name + "=" +
                        visit([](const auto& held) { return textOf(held); }, value);
            text += "]";
        }
        return text;
    }

    static std::string textOf(const std::string& value) { return value; }
    static std::string textOf(long value) { return "long " + std::to_string(value); }
    static std::string textOf(double value) { return "double " + std::to_string(value); }
    static std::string textOf(bool value) { return value ? "bool true" : "bool false"; }

    const Stage home{{}};
    const std::string folder = home / ".config/quillstone";
    const std::string path = folder + "/QuillstonePreferences.xml";
};
