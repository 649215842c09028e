#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "deviceapi/TessarigAPI.h"
#include "simulator/DeliveryThreads.h"
#include "simulator/Ledger.h"
#include "simulator/SimulatedCard.h"

/// The simulated machine: the cards in its slots, who watches for them, and how they misbehave. Any thread.
class Simulator
{
public:
    using Card = std::shared_ptr<SimulatedCard>;

    /// The one that the library's factories serve. Its destructor, at the end of the process, ends its threads.
    static Simulator& instance();

    /// Returns after the watcher has heard of the card. False if there is such a card already.
    bool plug(int64_t id, const std::optional<GroupPlace>& place = {});
    /// Returns after the watcher has let the card go. False if there is no such card.
    bool unplug(int64_t id);
    /// Null if there is no such card.
    Card find(int64_t id) const;
    std::vector<int64_t> list() const;
    /// Faults and calls of a card, or of the library's own objects under the id "api".
    std::shared_ptr<Record> recordOf(const std::string& id);
    /// Ids of which a record is kept.
    std::vector<std::string> recorded() const;
    /// Unplugs all cards and forgets all faults and calls.
    void reset();

    /// What the library's factories return: null if they are to fail, else with a reference for the caller.
    ITessarigAPIInformation* createInformation();
    ITessarigDiscovery* createDiscovery();

    /// Reports the cards that are there, then each that comes and goes.
    ResultCode install(ITessarigDeviceNotificationCallback* callback);
    /// Returns when no callback runs any more.
    void uninstall();

    Ledger ledger;
    DeliveryThreads deliveryThreads;
    /// How a card's settings reach the disk. Set before the first card is plugged.
    std::function<bool(int64_t id, const SimulatedCard::Settings& settings)> saveSettings;

private:
    enum class Presence
    {
        Unannounced,
        Arriving,
        Announced
    };

    struct Slot
    {
        Card card;
        Presence presence = Presence::Unannounced;
    };

    Simulator();
    void announce(std::unique_lock<std::mutex>& lock, int64_t id);

    mutable std::mutex mutex;
    std::condition_variable changed; ///< A callback has returned.
    std::map<int64_t, Slot> slots;
    std::map<std::string, std::shared_ptr<Record>> records;
    ITessarigDeviceNotificationCallback* watcher = nullptr;
    int runningCallbacks = 0;
};
