// Processes that are killed and stopped at random moments, and those that live on beside them. VF_SOAK_ROUNDS sets the
// number of rounds, VF_SOAK_SEED repeats a run's choices (not its timing).

#include "RandomClient.h"

#include <sys/prctl.h>

#include <chrono>
#include <set>
#include <thread>

namespace framebroker {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kRounds = 40;
#else
constexpr unsigned kRounds = 200;
#endif
constexpr unsigned kSurvivors = 3; ///< the first one mostly publishes, the last one only reads
constexpr unsigned kDoomed = 3;    ///< at most, in one round
constexpr unsigned kLetGoEvery = 3;
/// Who has not moved for this long never will.
constexpr std::chrono::seconds kWatchdog{60};

/// What a client that holds nothing may still have open and mapped: descriptors for its directory, its presence and
/// its waits, and mappings kept for blocks that come again.
constexpr unsigned kMaxDescriptorsOfClient = 6;
constexpr unsigned kMaxKeptMappings = 512;

struct Board {
    std::array<Report, kSurvivors + kDoomed> reports;
    std::atomic<unsigned> checkpoint{0};
    std::atomic<unsigned> passed{0};
    std::atomic<bool> stop{false};
};

unsigned FromEnvironment(const char* name, unsigned otherwise) {
    const char* const text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

} // namespace

class SoakTest : public ClientTest {
protected:
    /// Starts a process that dies with this one.
    template <class Body>
    pid_t SpawnBound(Body body) {
        return Spawn([&] { return ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && body(); });
    }

    bool Survive(unsigned self, unsigned seed) {
        Report& report = mBoard->reports[self];
        InitializeClient(), UninitializeClient(); // closes what came with the fork
        const unsigned before = OpenDescriptors();
        {
            using Kind = RandomClient::Kind;
            RandomClient client(seed, report, self == kSurvivors - 1 ? Kind::Reader : Kind::Mixed);
            while (!mBoard->stop && !report.failed) {
                client.Step();
                const unsigned wanted = mBoard->checkpoint;
                if (report.checkpoint == wanted) {
                    continue;
                }
                client.CheckHeld();
                if (wanted % kLetGoEvery == 0) {
                    client.LetGoOfAll();
                    report.descriptors = OpenDescriptors() - before;
                    report.mappings = MappedBlocks();
                    report.idleBlocks = GetClientStatistics().idleBlocks;
                }
                report.checkpoint = wanted;
                while (mBoard->passed < wanted && !mBoard->stop) {
                    ::sched_yield();
                }
            }
        }
        if (OpenDescriptors() != before || MappedBlocks() != 0) {
            report.Fail("descriptors or mappings are left", OpenDescriptors());
        }
        return !report.failed;
    }

    /// Waits for something that the survivors are to do. False when they do not, or found a fault.
    template <class Condition>
    bool Await(const char* what, Condition condition) {
        for (const auto begin = std::chrono::steady_clock::now(); !condition();) {
            for (unsigned n = 0; n < mBoard->reports.size(); ++n) {
                Report& report = mBoard->reports[n];
                if (report.failed) {
                    ADD_FAILURE() << report.fault.data();
                    return false;
                }
                int status = 0;
                if (n < kSurvivors && ::waitpid(mSurvivors[n], &status, WNOHANG) != 0) {
                    ADD_FAILURE() << "survivor " << n << " ended with " << status << " in action " << report.action;
                    mSurvivors[n] = -1;
                    return false;
                }
            }
            if (std::chrono::steady_clock::now() - begin > kWatchdog) {
                for (unsigned n = 0; n < kSurvivors; ++n) {
                    ADD_FAILURE() << "waited in vain for " << what << ": survivor " << n << " is in action "
                                  << mBoard->reports[n].action << " after " << mBoard->reports[n].steps << " steps";
                }
                return false;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        return true;
    }

    /// Waits until each survivor has finished some more steps, the first of which began after the call.
    bool AwaitProgress(const char* what, unsigned steps) {
        std::array<std::uint64_t, kSurvivors> goals{};
        for (unsigned n = 0; n < kSurvivors; ++n) {
            goals[n] = mBoard->reports[n].steps + 1 + steps;
        }
        return Await(what, [&] {
            bool all = true;
            for (unsigned n = 0; n < kSurvivors; ++n) {
                all = all && mBoard->reports[n].steps >= goals[n];
            }
            return all;
        });
    }

    /// Lets a few processes take part and die. Some are stopped first, some kill themselves in the middle of a step.
    bool KillSome(std::mt19937& random) {
        std::vector<pid_t> doomed;
        bool good = true;
        const unsigned count = 1 + random() % kDoomed;
        for (unsigned n = 0; n < count; ++n) {
            const unsigned seed = random();
            doomed.push_back(SpawnBound([&] {
                RandomClient client(seed, mBoard->reports[kSurvivors + n]);
                if (seed % 2 == 0) {
                    client.DieAfter(seed / 2 % 60);
                }
                while (!mBoard->reports[kSurvivors + n].failed) {
                    client.Step();
                }
                return false;
            }));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
        if (random() % 3 == 0) {
            ::kill(doomed[0], SIGSTOP);
            good = AwaitProgress("progress beside a stopped process", 20);
            if (random() % 2 == 0) {
                ::kill(doomed[0], SIGCONT);
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
            }
        }
        for (const pid_t child : doomed) {
            ::kill(child, SIGKILL);
            if (random() % 2 == 0) {
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 1000));
            }
        }
        for (const pid_t child : doomed) {
            const int status = Wait(child);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "ended with " << status;
        }
        return good;
    }

    /// Looks at the directory while every survivor waits, and holds something or nothing.
    bool Inspect(unsigned round) {
        mBoard->checkpoint = round;
        const bool here = Await("the checkpoint", [&] {
            return std::all_of(mBoard->reports.begin(), mBoard->reports.begin() + kSurvivors,
                               [&](const Report& report) { return report.checkpoint == round; });
        });
        SweepDeadBlocks();
        const std::set<std::int32_t> survivors(mSurvivors.begin(), mSurvivors.end());
        for (const BlockDescription& block : List().blocks) {
            EXPECT_TRUE(std::ranges::includes(survivors, block.holders)) << "held by a dead process";
            EXPECT_TRUE(block.ids.empty() || !block.holders.empty()) << block.ids[0].ToString() << " is dead";
        }
        if (round % kLetGoEvery == 0) {
            std::vector<std::string> entries = Entries();
            std::erase_if(entries, [](const std::string& entry) { return entry.starts_with("error-"); });
            EXPECT_EQ(entries, std::vector<std::string>()) << "nobody holds anything";
            std::uint64_t idleBlocks = 0;
            for (unsigned n = 0; n < kSurvivors; ++n) {
                idleBlocks += mBoard->reports[n].idleBlocks;
                EXPECT_LE(mBoard->reports[n].descriptors, kMaxDescriptorsOfClient);
                EXPECT_LE(mBoard->reports[n].mappings, kMaxKeptMappings);
            }
            EXPECT_EQ(List().blocks.size(), idleBlocks) << "what is left is memory that the living keep";
        }
        mBoard->passed = round;
        return here;
    }

    Shared<Board> mBoard;
    std::array<pid_t, kSurvivors> mSurvivors{};
};

TEST_F(SoakTest, TheLivingAreNotDisturbedByTheKilledAndTheStopped) {
    const unsigned seed = FromEnvironment("VF_SOAK_SEED", std::random_device()());
    SCOPED_TRACE("VF_SOAK_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    for (unsigned n = 0; n < kSurvivors; ++n) {
        mSurvivors[n] = SpawnBound([&, own = random()] { return Survive(n, own); });
    }
    const unsigned rounds = FromEnvironment("VF_SOAK_ROUNDS", kRounds);
    for (unsigned round = 1; round <= rounds && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        KillSome(random) && AwaitProgress("progress after the kills", 20) && Inspect(round);
    }
    mBoard->stop = true;
    for (const pid_t survivor : mSurvivors) {
        if (HasFailure() && survivor > 0) {
            ::kill(survivor, SIGKILL); // it may be what hangs
        }
        EXPECT_TRUE(survivor < 0 || Wait(survivor) == 0 || HasFailure());
    }
    for (const Report& report : mBoard->reports) {
        EXPECT_FALSE(report.failed) << report.fault.data();
    }
}

} // namespace framebroker
