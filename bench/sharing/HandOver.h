#pragma once

#include "BenchTools.h"

#include <memory>
#include <vector>

/// A way for frames from a producer to a consumer in another process. Made before the fork; frames are numbered from 0
/// and arrive in order.
class Channel {
public:
    Channel() = default;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    virtual ~Channel() = default;

    virtual const char* Name() const = 0;
    /// Whether every frame is copied on its way, so that fewer of them measure as well.
    virtual bool Copies() const { return false; }
    /// Before the fork of every run.
    virtual void StartRun() {}
    /// In the consumer's process, first and last.
    virtual void StartConsumer() {}
    virtual void EndConsumer() {}

    /// In the producer: frame number lives where this channel's frames live.
    virtual void Prepare(std::uint32_t /*number*/) {}
    virtual void Send(std::uint32_t number) = 0;

    /// In the consumer: waits for the frame; its kFrameBytes bytes can be read until Release.
    virtual const volatile std::uint8_t* Receive(std::uint32_t number) = 0;
    virtual void Release(std::uint32_t /*number*/) {}
};

/// Frames on broker blocks: VF::PublishVideoFrame on one side, framebroker::WaitForBinaryData and
/// VF::WrapVideoFrameAroundBinaryReference on the other.
std::unique_ptr<Channel> MakePublishingChannel();

/// Prints for every channel the time from Send to the end of Receive with a consumer that sleeps, beside memcpy of a
/// frame in the same rounds, and the frames a second with at most 4 in flight; with and without the consumer touching
/// every page. The channels take turns, so that they share what else the machine does.
void MeasureHandOver(const std::vector<std::unique_ptr<Channel>>& channels);
