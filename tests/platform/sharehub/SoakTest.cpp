// Processes that are killed and stopped at random moments, and those that live on beside them. VF_SOAK_ROUNDS sets the
// number of rounds, VF_SOAK_SEED repeats a run's choices (not its timing).

#include "RandomClient.h"

#include <sys/prctl.h>

#include <chrono>
#include <thread>

namespace framebroker {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kRounds = 40;
#else
constexpr unsigned kRounds = 200;
#endif
constexpr unsigned kSurvivors = 3;
constexpr unsigned kDoomed = 3; ///< at most, in one round

struct Board {
    std::array<std::atomic<unsigned>, kSurvivors> steps{};
    std::atomic<unsigned> stepsOfTheDoomed{0};
    std::atomic<bool> stop{false};
};

unsigned FromEnvironment(const char* name, unsigned otherwise) {
    const char* const text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

void SleepUpTo(unsigned microseconds, std::mt19937& random) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % microseconds));
}

} // namespace

class SoakTest : public ClientTest {
protected:
    /// Starts a process that steps until it is killed or everything ends, which its own fault makes it do.
    pid_t SpawnClient(unsigned seed, std::atomic<unsigned>& steps) {
        return Spawn([&] {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            InitializeClient(), UninitializeClient(); // closes what came with the fork
            const unsigned descriptors = OpenDescriptors();
            bool good = true;
            for (RandomClient client(seed); good && !mBoard->stop; ++steps) {
                good = client.Step();
            }
            mBoard->stop = true;
            return good && OpenDescriptors() == descriptors && MappedBlocks() == 0;
        });
    }

    /// Waits until each survivor has finished some more steps, the first of which began after the call.
    void AwaitProgress() {
        for (std::atomic<unsigned>& steps : mBoard->steps) {
            for (const unsigned begin = steps; steps - begin < 20 && !mBoard->stop;) {
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        }
    }

    Shared<Board> mBoard;
};

TEST_F(SoakTest, TheLivingAreNotDisturbedByTheKilledAndTheStopped) {
    const unsigned seed = FromEnvironment("VF_SOAK_SEED", std::random_device()());
    SCOPED_TRACE("VF_SOAK_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<pid_t> survivors;
    for (std::atomic<unsigned>& steps : mBoard->steps) {
        survivors.push_back(SpawnClient(random(), steps));
    }
    const unsigned rounds = FromEnvironment("VF_SOAK_ROUNDS", kRounds);
    for (unsigned round = 0; round < rounds && !mBoard->stop; ++round) {
        std::vector<pid_t> doomed(1 + random() % kDoomed);
        for (pid_t& child : doomed) {
            child = SpawnClient(random(), mBoard->stepsOfTheDoomed);
        }
        SleepUpTo(4000, random);
        if (random() % 3 == 0) {
            ::kill(doomed[0], SIGSTOP);
            AwaitProgress();
            ::kill(doomed[0], random() % 2 == 0 ? SIGCONT : SIGSTOP);
        }
        for (const pid_t child : doomed) {
            SleepUpTo(500, random);
            ::kill(child, SIGKILL);
        }
        for (const pid_t child : doomed) {
            EXPECT_EQ(Wait(child), SIGKILL) << "round " << round;
        }
        AwaitProgress();
    }
    EXPECT_FALSE(mBoard->stop) << "something was wrong";
    mBoard->stop = true;
    for (const pid_t survivor : survivors) {
        EXPECT_EQ(Wait(survivor), 0);
    }
    SweepDeadBlocks();
    EXPECT_TRUE(List().blocks.empty()) << "nobody holds anything";
}

} // namespace framebroker
