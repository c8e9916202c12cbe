#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_map>

namespace nomara::atspi {

using SteadyClock = std::chrono::steady_clock;

/// Which programs may be asked something, going by how they have answered so far. Pure bookkeeping; one thread.
///
/// A call can't be taken back: what a program was asked it works through, whether somebody still waits or not. So
/// whoever leaves calls open has the program pinged once, and it is asked nothing before it has answered that: then
/// everything before has been worked through as well. A program that took long for it is left alone for some time
/// more, and one that was stuck for seconds, twice, for good.
class ProgramAnswers {
public:
    using Time = SteadyClock::time_point;

    /// Silent for so long, a program has failed. Shorter silences are those of a program that is busy.
    static constexpr std::chrono::seconds stuckAfter{2};
    /// Silent for less, it only had more to answer than there was time for. No caller waits longer.
    static constexpr std::chrono::milliseconds lateAfter{300};
    /// What a program may cost those who wait for it: this much of its silence it is left alone afterwards.
    static constexpr int restPerSilence = 5;
    static constexpr int mostFailures = 2;

    enum class Standing {
        free,       ///< may be asked
        catchingUp, ///< owes the answer to a ping, and was heard a moment ago: worth waiting for
        pinged,     ///< owes the answer to a ping
        resting,    ///< answered late a short while ago
        dropped,    ///< has failed too often and is asked nothing any more
    };

    Standing standing(const std::string& program, Time now);
    bool mayAsk(const std::string& program, Time now) {
        return m_records.empty() || standing(program, now) == Standing::free;
    }
    /// Calls to this program are left open; it has owed an answer since `silentSince`. True when it is to be pinged
    /// now: it isn't yet.
    bool leaveOpen(const std::string& program, Time silentSince);
    /// The ping was answered.
    void noteAnswer(const std::string& program, Time now);
    /// The program has ended, and its name is never given to another one.
    void forget(const std::string& program) { m_records.erase(program); }
    void clear() { m_records.clear(); }

private:
    struct Record {
        int failures = 0;
        bool pinged = false;
        bool counted = false; ///< this silence is among the failures
        Time silentSince{};
        Time restsUntil{};
    };

    static void countFailure(Record& record, Time now);

    std::unordered_map<std::string, Record> m_records;
};

} // namespace nomara::atspi
