#pragma once

#include "HandOver.h"

#include <memory>
#include <vector>

/// Other ways for a frame into another process, each as simple as it can be: a ring of frames mapped once with a
/// semaphore, a fresh shared object per frame, a pipe, a Unix socket. The last three start from a frame in ordinary
/// memory, because their frames cannot be made in place.
std::vector<std::unique_ptr<Channel>> MakePeers();
