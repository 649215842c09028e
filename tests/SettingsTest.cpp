#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "settings/AudioConnections.h"
#include "settings/CardSettings.h"
#include "settings/ConversionModes.h"
#include "settings/Packing3D.h"

/// 0 to 3,000, and what lies at the ends of the signed and the unsigned range.
static std::set<uint32_t> numbers()
{
    std::set<uint32_t> all = {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (uint32_t number = 0; number <= 3000; ++number)
        all.insert(number);
    return all;
}

TEST(SettingsTest, EveryNumberAndEveryNameIsItsOwnOrTheDefault)
{
    using Row = std::tuple<const char* (*)(uint32_t), uint32_t (*)(const char*), uint32_t, std::string>;
    for (const auto& [nameOf, numberOf, fallback, expected] :
         {Row{conversionModeName, conversionModeFromName, 0,
              "0 Off,1 Letterbox 16:9,2 Anamorphic,3 720pto1080iCrossConversion,4 SDAnamorphicTo43CenterCut,"
              "1001 Hardware Letterbox 16:9,1002 Hardware Anamorphic,1003 Hardware Center Cut,"
              "1004 Hardware Down Conversion 2K,1005 Hardware Down Conversion 4K,"
              "1006 Hardware Cross Conversion to 720p 1080p,1007 Hardware Up Conversion Anamorphic 720p,"
              "1008 Hardware Up Conversion Anamorphic 1080i,1009 Hardware Up Conversion Anamorphic 14:9 to 720p,"
              "1010 Hardware Up Conversion Anamorphic 14:9 to 1080i,1011 Hardware Up Conversion Pillarbox 720p,"
              "1012 Hardware Up Conversion Pillarbox 1080i,"},
          {videoConnectionName, videoConnectionFromName, 0,
           "0 SDI,1 HDMI,2 Component,3 Composite,4 SVideo,5 Optical SDI,6 Ethernet,7 Optical Ethernet,"},
          {analogVideoConnectionName, analogVideoConnectionFromName, 2, "2 Component,3 Composite,4 SVideo,"},
          {audioConnectionName, audioConnectionFromName, 0,
           "0 Embedded,1 AESEBU,2 Analog,3 AnalogXLR,4 AnalogRCA,5 Microphone,"},
          {basicAudioConnectionName, basicAudioConnectionFromName, 0, "0 Analog,1 AESEBU,"},
          {packing3DName, packing3DFromName, 3,
           "0 SideBySideHalf,1 LineByLine,2 TopAndBottom,3 FramePacking,4 SideBySideFull,5 LeftOnly,6 RightOnly,"}})
    {
        std::string text;
        for (const uint32_t number : numbers())
        {
            const std::string name = nameOf(number);
            if (number != fallback && name == nameOf(fallback))
                continue;
            text += std::to_string(number) + " " + name + ",";
            EXPECT_EQ(numberOf(name.c_str()), number) << name;
            for (const std::string& near :
                 {name + " ", name.substr(1), static_cast<char>(name[0] ^ 32) + name.substr(1)})
                EXPECT_EQ(numberOf(near.c_str()), fallback) << near;
        }
        EXPECT_EQ(text, expected);
        EXPECT_EQ(numberOf(""), fallback);
    }
}

TEST(SettingsTest, AModeIsAvailableWithItsSmallestFlagsAndNotWithABitLessOrAForbiddenOne)
{
    using Bits = std::set<int>;
    using Row =
        std::tuple<std::set<uint32_t>, Bits, Bits, Bits, Bits>; // needs and forbids, of the first and the second
    std::set<uint32_t> known;
    for (const auto& [modes, needs, forbids, needsInSecond, forbidsInSecond] :
         {Row{{0}, {15}, {18}, {}, {}},
          {{1, 2}, {}, {}, {}, {2}},
          {{3, 4}, {15}, {18}, {}, {2}},
          {{1001, 1002}, {15, 16}, {}, {}, {}},
          {{1003}, {15, 16, 17}, {}, {}, {}},
          {{1004}, {15, 16, 19, 25}, {}, {}, {10}},
          {{1005}, {}, {}, {23}, {32}},
          {{1006, 1007, 1008, 1011, 1012}, {15, 16, 17, 19}, {}, {}, {}},
          {{1009, 1010}, {15, 16, 17, 19}, {32}, {}, {}},
          {{2000}, {}, {}, {47}, {}}})
    {
        const auto word = [](const Bits& bits) {
            return std::accumulate(bits.begin(), bits.end(), 0ull, [](auto sum, int bit) { return sum | 1ull << bit; });
        };
        const uint64_t first = word(needs), second = word(needsInSecond);
        for (const uint32_t mode : modes)
        {
            EXPECT_TRUE(isConversionAvailable(mode, first, second)) << mode;
            for (int bit = 0; bit < 64; ++bit)
            {
                EXPECT_EQ(isConversionAvailable(mode, first ^ 1ull << bit, second),
                          !needs.count(bit) && !forbids.count(bit))
                    << mode << " " << bit;
                EXPECT_EQ(isConversionAvailable(mode, first, second ^ 1ull << bit),
                          !needsInSecond.count(bit) && !forbidsInSecond.count(bit))
                    << mode << " " << bit;
            }
        }
        known.insert(modes.begin(), modes.end());
    }
    for (const uint32_t mode : numbers())
        for (const uint64_t word : {0ull, 0xB8000ull, ~0ull})
            EXPECT_FALSE(!known.count(mode) && isConversionAvailable(mode, word, word)) << mode;
}

TEST(SettingsTest, AModeGivesWayToItsHardwareCounterpart)
{
    for (const auto& [mode, counterpart, least, hardware] :
         {std::tuple(1u, 1001u, 0u, 0x18000u), {2u, 1002u, 0u, 0x18000u}, {3u, 1006u, 0x8000u, 0xB8000u}})
        for (uint32_t flags = 0; flags <= hardware; flags += 0x8000)
        {
            const bool offered = (flags & hardware) == hardware;
            const bool own = (flags & least) == least && !(least && flags & 0x40000);
            EXPECT_EQ(isConversionAvailable(counterpart, flags, 0), offered) << mode << std::hex << " " << flags;
            EXPECT_EQ(isConversionAvailable(mode, flags, 0), own && !offered) << mode << std::hex << " " << flags;
        }
    for (const auto& [flags, mode] : {std::pair(0u, 1u), {0x8000, 0}, {0x18000, 0}, {0x48000, 1}, {0x58000, 1001}})
        EXPECT_EQ(defaultConversionMode(flags), mode) << std::hex << flags;
    static_assert(defaultConversionMode(0x58000) == 1001); // usable where the compiler needs a value
}

TEST(SettingsTest, PredicatesAndConfigurationsAreAsTheNumbersAndFlagsSay)
{
    for (const uint32_t number : numbers())
    {
        const bool down = number == 1 || number == 2 || (number > 1000 && number < 1006);
        EXPECT_EQ(isDownConversionMode(number), down) << number;
        EXPECT_EQ(isDigitalVideoConnection(number), number < 2 || number > 4) << number;
        EXPECT_EQ(isCompositeOrSVideo(number), number == 3 || number == 4) << number;
    }
    for (uint64_t bits = 0; bits < 64; ++bits)
        for (const uint32_t mode : {0u, 1000u, 1001u, ~0u})
            for (uint32_t connection = 0; connection < 10; ++connection)
            {
                const bool configurable = bits & 1, guarded = bits & 2, exempt = bits & 4, noAnalog = bits & 24;
                const uint64_t unread = bits & 32 ? ~0x112018ull : 0;
                const CardSettings settings = {connection, mode};
                EXPECT_EQ(isConfigurationAllowed(&settings, unread | (bits & 1) << 13 | (bits & 2) << 15,
                                                 unread | (bits & 4) << 18, unread | (bits & 24)),
                          configurable && (mode <= 1000 || exempt || !guarded) &&
                              (!noAnalog || (connection != 3 && connection != 4)))
                    << bits << " " << mode << " " << connection;
            }
}
