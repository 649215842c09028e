#pragma once

#include <utility>

#include <gtest/gtest.h>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"
#include "testing/Child.h"
#include "testing/TemporaryFolder.h"

/// Stores on a user's file, in a home of the test's own.
class PreferenceTest : public testing::Test
{
protected:
    PreferenceTest()
    {
        setenv("HOME", home.folder.c_str(), 1);
        std::filesystem::create_directories(home / ".config/quillstone");
    }

    void put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

    /// The document with this under its root.
    static std::string document(const std::string& inner)
    {
        return "<QuillstonePreferences>" + inner + "</QuillstonePreferences>";
    }

    /// The whole table as text: "key[name=value,name=value] key[]"; numbers by C++'s own notation for their type.
    static std::string tableOf(const PreferenceStore& store)
    {
        std::ostringstream text;
        for (const auto& [key, attributes] : store.table)
        {
            text << (text.view().empty() ? "" : " ") << key;
            char separator = '[';
            for (const auto& [name, value] : attributes)
            {
                static constexpr const char* types[] = {"bool ", "long ", "double ", ""};
                text << std::exchange(separator, ',') << name << "=" << types[value.index()] << std::boolalpha;
                visit([&](const auto& held) { text << held; }, value);
            }
            text << (attributes.empty() ? "[]" : "]");
        }
        return text.str();
    }

    const TemporaryFolder home;
    const std::string path = home / ".config/quillstone/QuillstonePreferences.xml";
    PreferenceStore store{path};
};
