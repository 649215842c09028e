#include "benchmarks/PreferenceFiles.h"

#include <filesystem>
#include <fstream>

#include "benchmarks/Measure.h"
#include "testing/Files.h"

namespace
{

constexpr int cardsOfGroup = 16;

const char* const moving[] = {"NetOutputVideoIPv4", "NetOutputVideoPort",     "NetOutputAudioIPv4",
                              "NetOutputAudioPort", "NetOutputAncillaryIPv4", "NetOutputAncillaryPort"};

void writeSetting(std::ostream& stream, const std::string& name, const std::string& value)
{
    stream << "        <attribute name=\"" << name << "\" value=\"" << value << "\" />\n";
}

}

void writeUnmigrated(const std::string& path, int cards)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream stream(path);
    stream << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"true\" ?>\n<QuillstonePreferences>\n";
    for (int card = 0; card < cards; ++card)
    {
        if (card % cardsOfGroup == 0)
        {
            stream << "    <group id=\"" << card << "\">\n";
            for (const char* name : moving)
                writeSetting(stream, name, "239.0.0.1");
            stream << "    </group>\n";
        }
        stream << "    <card id=\"" << card << "\">\n";
        for (int setting = 0; setting < 3 + card % 2; ++setting)
            writeSetting(stream, "Setting" + std::to_string(setting), "value");
        stream << "    </card>\n";
    }
    stream << "</QuillstonePreferences>\n";
    stream.flush();
    require(stream.good(), "writing " + path);
}

bool isMigrated(const std::string& path)
{
    const std::string text = contents(path);
    return text.find("<group") != std::string::npos && text.find("IPv4\"") == std::string::npos &&
           text.find("Port\"") == std::string::npos;
}
