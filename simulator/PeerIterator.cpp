#include "simulator/PeerIterator.h"

#include "simulator/Simulator.h"

namespace
{

class PeerIterator final : public SimulatedObject
{
public:
    PeerIterator(Simulator& owner, const SimulatedCard& card)
        : SimulatedObject(owner.ledger, "iterator of " + std::to_string(card.id), card.record),
          simulator(owner),
          peers(card.place->peers)
    {
    }

    struct Main final : Interface<ITessarigPeerIterator, PeerIterator>
    {
        using Interface::Interface;

        ResultCode Next(ITessarigPeerDevice** out) override
        {
            const ResultCode result = recordCall("Next");
            return result == S_OK ? object.next(out) : result;
        }
    };

    ResultCode next(ITessarigPeerDevice** out)
    {
        while (position < peers.size())
        {
            const Simulator::Card card = simulator.find(peers[position++]);
            if (!card)
                continue;
            card->peerDevice.AddRef();
            *out = &card->peerDevice;
            return S_OK;
        }
        return E_FAIL;
    }

    Main main{*this, "iterator"};

private:
    Simulator& simulator;
    const std::vector<int64_t> peers;
    size_t position = 0;
};

}

ITessarigPeerIterator* iteratePeers(Simulator& simulator, const SimulatedCard& card)
{
    auto* iterator = new PeerIterator(simulator, card);
    iterator->main.AddRef();
    iterator->release();
    return &iterator->main;
}
