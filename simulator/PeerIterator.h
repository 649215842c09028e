#pragma once

#include "simulator/SimulatedCard.h"

/// Walks the peers of a card in the order in which they were named, and passes over those that are not plugged. The
/// reference is the caller's.
ITessarigPeerIterator* iteratePeers(Simulator& simulator, const SimulatedCard& card);
