#include "simulator/Words.h"

#include <algorithm>

const std::vector<std::string> callNames = {"CreateTessarigAPIInformationInstance",
                                            "CreateTessarigDiscoveryInstance",
                                            "InstallDeviceNotifications",
                                            "QueryInterface",
                                            "GetInt",
                                            "HandleHardwareNotification",
                                            "HandleHardwareNotificationEx",
                                            "HardwareNotificationHandled",
                                            "PersistState",
                                            "PrepareDevice",
                                            "PrepareGroup",
                                            "Subscribe",
                                            "Unsubscribe",
                                            "Post",
                                            "GetDevice",
                                            "GetPeerIterator",
                                            "Next"};

const std::vector<std::string> interfaceNames = {
    "ITessarigAttributes",       "ITessarigHardwareState", "ITessarigConfiguration", "ITessarigNotification",
    "ITessarigTopicBroadcaster", "ITessarigGroupedDevice", "ITessarigPeerDevice"};

namespace
{

const Argument newCard = {"ID", "The card's number"};
const Argument card = {"ID", "The card's number", {}, true};
const Argument object = {"ID", "The card's number, or api for the library's own objects", {"api"}, true};
const Argument call = {"CALL", "Or with an argument, as Subscribe:setd, which goes before the call alone", callNames};

}

const std::vector<Word> allWords = {
    {"plug",
     "A card comes; answers when the daemon has taken note of it",
     {newCard,
      {"PLACE",
       "Of a group's member: group=G of=N order=O peer=P peers=ID,ID. It is one of N in the group G, O is its "
       "place, P the id by which its peers are told, peers what its iterator gives. What isn't told is 0",
       {"group=", "of=", "order=", "peer=", "peers="},
       false,
       0,
       5}}},
    {"unplug", "A card goes; answers when the daemon has let it go", {card}},
    {"change",
     "A setting of a card changes: raises setd",
     {card, {"SETTING", "NAME=VALUE; the value keeps its blanks, so quote it: \"Label=Studio A\""}}},
    {"hardware",
     "A card's hardware reports something: raises hwic, or hwiC with an extra value",
     {card, {"VALUE", "As 42 or 0x2a"}, {"EXTRA", "A second value", {}, false, 0}}},
    {"fail",
     "A call does nothing from now on and fails; Unsubscribe is done all the same",
     {object, call, {"CODE", "What it answers; 0 ends that"}, {"TIMES", "Only so many calls fail", {}, false, 0}}},
    {"slow",
     "A call takes longer from now on",
     {object, call, {"TIME", "In us, ms or s; 0s ends that", {"200us", "50ms", "2s"}}}},
    {"absent",
     "A card does not have an interface from now on",
     {object, {"INTERFACE", "With @configuration behind it: on the card's configuration alone", interfaceNames}}},
    {"list", "The cards that are plugged"},
    {"calls",
     "What was asked, in order, the last thousand calls of each card",
     {{"ID",
       "Of this card alone, or of the library: api. Without it each call stands behind its card",
       {"api"},
       true,
       0}}},
    {"references", "How many references the daemon holds in all, then on what"},
};

const Word* findWord(const std::string& name)
{
    const auto word = std::find_if(allWords.begin(), allWords.end(), [&](const Word& any) { return any.name == name; });
    return word == allWords.end() ? nullptr : &*word;
}
