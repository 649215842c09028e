#include <map>
#include <set>

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

TEST(SettingsTest, AModeIsAvailableAsTheTwoFlagWordsSay)
{
    using Row = std::tuple<uint64_t, uint64_t, std::set<uint32_t>, uint32_t>; // the words, the modes, the default
    for (const auto& [first, second, modes, byDefault] :
         {Row{0, 0, {1, 2}, 1},
          {0, 4, {}, 1},
          {0x8000, 0, {0, 1, 2, 3, 4}, 0},
          {0x8000, 4, {0}, 0},
          {0x48000, 0, {1, 2}, 1},
          {0x10000, 0, {1, 2}, 1},
          {0x18000, 0, {0, 3, 4, 1001, 1002}, 0},
          {0x58000, 0, {1001, 1002}, 1001},
          {0x38000, 0, {0, 3, 4, 1001, 1002, 1003}, 0},
          {0x2098000, 0, {0, 3, 4, 1001, 1002, 1004}, 0},
          {0x2098000, 0x400, {0, 3, 4, 1001, 1002}, 0},
          {0x98000, 0, {0, 3, 4, 1001, 1002}, 0},
          {0x20A8000, 0, {0, 1, 2, 3, 4}, 0},
          {0x20B0000, 0, {1, 2}, 1},
          {0xB8000, 0, {0, 4, 1001, 1002, 1003, 1006, 1007, 1008, 1009, 1010, 1011, 1012}, 0},
          {0x1000B8000, 0, {0, 4, 1001, 1002, 1003, 1006, 1007, 1008, 1011, 1012}, 0},
          {0, 0x800000, {1, 2, 1005}, 1},
          {0, 0x100800000, {1, 2}, 1},
          {0, 0x800000000000, {1, 2, 2000}, 1}})
    {
        std::set<uint32_t> available;
        for (const uint32_t mode : numbers())
            if (isConversionAvailable(mode, first, second))
                available.insert(mode);
        EXPECT_EQ(available, modes) << std::hex << first << " " << second;
        EXPECT_EQ(defaultConversionMode(first), byDefault) << std::hex << first;
    }
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
