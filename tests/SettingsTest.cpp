#include <set>
#include <string>
#include <vector>

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
    struct Row
    {
        const char* (*nameOf)(uint32_t);
        uint32_t (*numberOf)(const char*);
        uint32_t fallback;
        std::string all;
    };
    for (const auto& [nameOf, numberOf, fallback, all] :
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
        EXPECT_EQ(text, all);
        EXPECT_EQ(numberOf(""), fallback);
    }
}

TEST(SettingsTest, AModeIsAvailableWithItsSmallestFlagsAndNotWithABitLessOrAForbiddenOne)
{
    struct Row
    {
        std::vector<uint32_t> modes;
        uint64_t needs = 0;
        uint64_t forbids = 0;
        uint64_t needsInSecond = 0;
        uint64_t forbidsInSecond = 0;
    };
    std::set<uint32_t> known;
    for (const Row& row : {Row{.modes = {0}, .needs = 0x8000, .forbids = 0x40000},
                           {.modes = {1, 2}, .forbidsInSecond = 0x4},
                           {.modes = {3, 4}, .needs = 0x8000, .forbids = 0x40000, .forbidsInSecond = 0x4},
                           {.modes = {1001, 1002}, .needs = 0x18000},
                           {.modes = {1003}, .needs = 0x38000},
                           {.modes = {1004}, .needs = 0x2098000, .forbidsInSecond = 0x400},
                           {.modes = {1005}, .needsInSecond = 0x800000, .forbidsInSecond = 0x100000000},
                           {.modes = {1006, 1007, 1008, 1011, 1012}, .needs = 0xB8000},
                           {.modes = {1009, 1010}, .needs = 0xB8000, .forbids = 0x100000000},
                           {.modes = {2000}, .needsInSecond = 0x800000000000}})
        for (const uint32_t mode : row.modes)
        {
            SCOPED_TRACE(mode);
            known.insert(mode);
            EXPECT_TRUE(isConversionAvailable(mode, row.needs, row.needsInSecond));
            for (uint64_t bit = 1; bit != 0; bit <<= 1)
            {
                SCOPED_TRACE(bit);
                EXPECT_EQ(isConversionAvailable(mode, row.needs ^ bit, row.needsInSecond),
                          !((row.needs | row.forbids) & bit));
                EXPECT_EQ(isConversionAvailable(mode, row.needs, row.needsInSecond ^ bit),
                          !((row.needsInSecond | row.forbidsInSecond) & bit));
            }
        }
    for (const uint32_t mode : numbers())
        for (const uint64_t flags : {0ull, 0xB8000ull, ~0ull})
            EXPECT_FALSE(!known.count(mode) && isConversionAvailable(mode, flags, flags)) << mode;
}

TEST(SettingsTest, AModeGivesWayToItsHardwareCounterpart)
{
    for (const uint32_t mode : {1u, 2u})
        EXPECT_FALSE(isConversionAvailable(mode, 0x18000, 0)) << mode;
    EXPECT_TRUE(isConversionAvailable(3, 0x38000, 0));
    EXPECT_FALSE(isConversionAvailable(3, 0xB8000, 0));
    EXPECT_TRUE(isConversionAvailable(4, 0xB8000, 0));
    EXPECT_EQ(defaultConversionMode(0), 1U);
    EXPECT_EQ(defaultConversionMode(0x18000), 0U);
    EXPECT_EQ(defaultConversionMode(0x48000), 1U);
    static_assert(defaultConversionMode(0x58000) == 1001); // usable where the compiler needs a value
}

TEST(SettingsTest, NumbersTellWhatAModeOrAConnectionIs)
{
    for (const uint32_t number : numbers())
    {
        const bool down = number == 1 || number == 2 || (number > 1000 && number < 1006);
        EXPECT_EQ(isDownConversionMode(number), down) << number;
        EXPECT_EQ(isDigitalVideoConnection(number), number < 2 || number > 4) << number;
        EXPECT_EQ(isCompositeOrSVideo(number), number == 3 || number == 4) << number;
    }
}

TEST(SettingsTest, AConfigurationIsAllowedWhereNoFlagRefusesIt)
{
    const auto allowed = [](CardSettings settings, uint64_t gate, uint64_t exemption, uint64_t connection)
    { return isConfigurationAllowed(&settings, gate, exemption, connection); };
    constexpr uint32_t component = 2, composite = 3, sVideo = 4;
    EXPECT_TRUE(allowed({0, 1001}, 0x2000, 0, 0));
    EXPECT_FALSE(allowed({0, 0}, ~0x2000ull, 0, 0));
    EXPECT_TRUE(allowed({0, 1000}, 0x12000, 0, 0));
    EXPECT_FALSE(allowed({0, 1001}, 0x12000, ~0x100000ull, 0));
    EXPECT_TRUE(allowed({0, 1001}, 0x12000, 0x100000, 0));
    EXPECT_FALSE(allowed({composite, 0}, 0x2000, 0, 0x8));
    EXPECT_FALSE(allowed({sVideo, 0}, 0x2000, 0, 0x10));
    EXPECT_TRUE(allowed({component, 0}, 0x2000, 0, ~0ull));
    EXPECT_TRUE(allowed({composite, 0}, 0x2000, 0, ~0x18ull));
}
