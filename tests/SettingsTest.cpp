#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "settings/AudioConnections.h"
#include "settings/CardSettings.h"
#include "settings/ConversionModes.h"
#include "settings/Packing3D.h"

namespace
{

using Names = std::map<uint32_t, std::string>;

/// 0 to 3,000, and what lies at the ends of the signed and the unsigned range.
std::vector<uint32_t> numbers()
{
    std::vector<uint32_t> all = {0x7FFFFFFF, 0x80000000, static_cast<uint32_t>(-1)};
    for (uint32_t number = 0; number <= 3000; ++number)
        all.push_back(number);
    return all;
}

/// From a number on, the names of consecutive ones, separated by bars.
Names namesOf(const std::map<uint32_t, std::string>& lists)
{
    Names names;
    for (const auto& [first, list] : lists)
    {
        std::istringstream words(list);
        uint32_t number = first;
        for (std::string name; std::getline(words, name, '|'); ++number)
            names[number] = name;
    }
    return names;
}

struct Vocabulary
{
    const char* (*name)(uint32_t);
    uint32_t (*number)(const char*);
    uint32_t fallback;
    Names names;
};

const Vocabulary vocabularies[] = {
    {conversionModeName, conversionModeFromName, 0,
     namesOf({{0, "Off|Letterbox 16:9|Anamorphic|720pto1080iCrossConversion|SDAnamorphicTo43CenterCut"},
              {1001, "Hardware Letterbox 16:9|Hardware Anamorphic|Hardware Center Cut|Hardware Down Conversion 2K|"
                     "Hardware Down Conversion 4K|Hardware Cross Conversion to 720p 1080p|"
                     "Hardware Up Conversion Anamorphic 720p|Hardware Up Conversion Anamorphic 1080i|"
                     "Hardware Up Conversion Anamorphic 14:9 to 720p|Hardware Up Conversion Anamorphic 14:9 to 1080i|"
                     "Hardware Up Conversion Pillarbox 720p|Hardware Up Conversion Pillarbox 1080i"}})},
    {videoConnectionName, videoConnectionFromName, 0,
     namesOf({{0, "SDI|HDMI|Component|Composite|SVideo|Optical SDI|Ethernet|Optical Ethernet"}})},
    {analogVideoConnectionName, analogVideoConnectionFromName, 2, namesOf({{2, "Component|Composite|SVideo"}})},
    {audioConnectionName, audioConnectionFromName, 0,
     namesOf({{0, "Embedded|AESEBU|Analog|AnalogXLR|AnalogRCA|Microphone"}})},
    {basicAudioConnectionName, basicAudioConnectionFromName, 0, namesOf({{0, "Analog|AESEBU"}})},
    {packing3DName, packing3DFromName, 3,
     namesOf({{0, "SideBySideHalf|LineByLine|TopAndBottom|FramePacking|SideBySideFull|LeftOnly|RightOnly"}})},
};

TEST(SettingsTest, EveryNumberAndEveryNameIsItsOwnOrTheDefault)
{
    for (const Vocabulary& vocabulary : vocabularies)
    {
        const std::string& fallback = vocabulary.names.at(vocabulary.fallback);
        SCOPED_TRACE(fallback);
        for (const uint32_t number : numbers())
            EXPECT_EQ(vocabulary.name(number), vocabulary.names.count(number) ? vocabulary.names.at(number) : fallback);

        std::set<std::string> nearMisses = {"", "HDMI 2", "hardware center cut", "Unknown"};
        for (const Vocabulary& other : vocabularies)
            for (const auto& [number, name] : other.names)
                nearMisses.insert({name, name + " ", " " + name, name.substr(1), name.substr(0, name.size() - 1),
                                   static_cast<char>(name[0] ^ 0x20) + name.substr(1)});
        for (const auto& [number, name] : vocabulary.names)
        {
            EXPECT_EQ(vocabulary.number(name.c_str()), number) << name;
            nearMisses.erase(name);
        }
        for (const std::string& name : nearMisses)
            EXPECT_EQ(vocabulary.number(name.c_str()), vocabulary.fallback) << name;
    }
}

TEST(SettingsTest, ThePredicatesHoldForTheirNumbersAlone)
{
    const std::set<uint32_t> down = {1, 2, 1001, 1002, 1003, 1004, 1005};
    for (const uint32_t number : numbers())
    {
        EXPECT_EQ(isDownConversionMode(number), down.count(number) == 1) << number;
        EXPECT_EQ(isDigitalVideoConnection(number), number < 2 || number > 4) << number;
        EXPECT_EQ(isCompositeOrSVideo(number), number == 3 || number == 4) << number;
    }
}

TEST(SettingsTest, AModeIsAvailableAsTheTwoFlagWordsSay)
{
    struct Row
    {
        std::vector<uint32_t> modes;
        uint64_t needsFirst;
        uint64_t forbidsFirst;
        uint64_t needsSecond;
        uint64_t forbidsSecond;
        uint32_t counterpart; ///< Does the same in hardware, and so takes the mode's place.
    };
    const auto bits = [](std::initializer_list<int> numbers)
    {
        uint64_t all = 0;
        for (const int number : numbers)
            all |= uint64_t{1} << number;
        return all;
    };
    const Row rows[] = {{{0}, bits({15}), bits({18}), 0, 0, 0},
                        {{1}, 0, 0, 0, bits({2}), 1001},
                        {{2}, 0, 0, 0, bits({2}), 1002},
                        {{3}, bits({15}), bits({18}), 0, bits({2}), 1006},
                        {{4}, bits({15}), bits({18}), 0, bits({2}), 0},
                        {{1001, 1002}, bits({15, 16}), 0, 0, 0, 0},
                        {{1003}, bits({15, 16, 17}), 0, 0, 0, 0},
                        {{1004}, bits({15, 16, 19, 25}), 0, 0, bits({10}), 0},
                        {{1005}, 0, 0, bits({23}), bits({32}), 0},
                        {{1006, 1007, 1008, 1011, 1012}, bits({15, 16, 17, 19}), 0, 0, 0, 0},
                        {{1009, 1010}, bits({15, 16, 17, 19}), bits({32}), 0, 0, 0},
                        {{2000}, 0, 0, bits({47}), 0, 0}};
    std::set<uint32_t> withRow;
    for (const Row& row : rows)
        for (const uint32_t mode : row.modes)
        {
            SCOPED_TRACE(mode);
            withRow.insert(mode);
            const auto check = [&](uint64_t first, uint64_t second)
            {
                const bool fits = (first & row.needsFirst) == row.needsFirst && (first & row.forbidsFirst) == 0 &&
                                  (second & row.needsSecond) == row.needsSecond && (second & row.forbidsSecond) == 0;
                const bool better = row.counterpart != 0 && isConversionAvailable(row.counterpart, first, 0);
                EXPECT_EQ(isConversionAvailable(mode, first, second), fits && !better) << std::hex << first;
            };
            check(0, 0);
            // With its smallest flags, with a bit less or more, and with what its counterpart needs.
            for (const uint64_t first : {row.needsFirst, row.needsFirst | bits({16}), bits({15, 16}),
                                         bits({15, 16, 17, 19}), bits({15, 16, 17, 18, 19})})
                for (int bit = 0; bit < 64; ++bit)
                {
                    check(first, row.needsSecond);
                    check(first ^ bits({bit}), row.needsSecond);
                    check(first, row.needsSecond ^ bits({bit}));
                }
        }
    for (const uint32_t number : numbers())
        for (const uint64_t word : {uint64_t{0}, uint64_t{0xB8000}, ~uint64_t{0}})
            EXPECT_FALSE(!withRow.count(number) && isConversionAvailable(number, word, word)) << number;
}

TEST(SettingsTest, TheDefaultModeIsTheFirstThatTheCardHas)
{
    const std::map<uint64_t, uint32_t> defaults = {{0, 1},          {0x8000, 0},  {0x18000, 0},        {0x48000, 1},
                                                   {0x58000, 1001}, {0x10000, 1}, {~uint64_t{0}, 1001}};
    for (const auto& [primary, mode] : defaults)
        EXPECT_EQ(defaultConversionMode(primary), mode) << std::hex << primary;
}

TEST(SettingsTest, AConfigurationIsAllowedAsTheFlagsSay)
{
    for (const uint64_t unread : {uint64_t{0}, ~uint64_t{0}})
        for (uint64_t bits = 0; bits < 32; ++bits)
            for (const uint32_t mode : {0u, 4u, 1000u, 1001u, 2000u, ~0u})
                for (uint32_t connection = 0; connection < 10; ++connection)
                {
                    const bool configurable = bits & 1, guarded = bits & 2, exempt = bits & 4, noAnalog = bits & 24;
                    const uint64_t gate = (unread & ~0x12000ull) | (bits & 1) << 13 | (bits & 2) << 15;
                    const uint64_t exemption = (unread & ~0x100000ull) | (bits & 4) << 18;
                    const uint64_t analog = (unread & ~0x18ull) | (bits & 24);
                    const bool modeFits = mode <= 1000 || exempt || !guarded;
                    const bool connectionFits = !noAnalog || (connection != 3 && connection != 4);
                    const CardSettings settings = {connection, mode};
                    EXPECT_EQ(isConfigurationAllowed(&settings, gate, exemption, analog),
                              configurable && modeFits && connectionFits)
                        << bits << " " << mode << " " << connection;
                }
}

// Usable where the compiler needs a value.
static_assert(conversionModeFromName(conversionModeName(1012)) == 1012);
static_assert(!isConversionAvailable(1, 0x18000, 0) && defaultConversionMode(0x58000) == 1001);

}
