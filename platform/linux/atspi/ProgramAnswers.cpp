#include "platform/linux/atspi/ProgramAnswers.h"

namespace nomara::atspi {

ProgramAnswers::Standing ProgramAnswers::standing(const std::string& program, Time now) {
    const auto found = m_records.find(program);
    if (found == m_records.end()) return Standing::free;
    Record& record = found->second;
    countFailure(record, now);
    if (record.failures >= mostFailures) return Standing::dropped;
    if (record.pinged) return now - record.silentSince < lateAfter ? Standing::catchingUp : Standing::pinged;
    return now < record.restsUntil ? Standing::resting : Standing::free;
}

bool ProgramAnswers::leaveOpen(const std::string& program, Time silentSince) {
    Record& record = m_records[program];
    if (record.pinged || record.failures >= mostFailures) return false;
    record.pinged = true;
    record.counted = false;
    record.silentSince = silentSince;
    return true;
}

void ProgramAnswers::noteAnswer(const std::string& program, Time now) {
    const auto found = m_records.find(program);
    if (found == m_records.end() || !found->second.pinged) return;
    Record& record = found->second;
    countFailure(record, now);
    record.pinged = false;
    const auto silence = now - record.silentSince;
    if (silence >= lateAfter) record.restsUntil = now + restPerSilence * silence;
}

void ProgramAnswers::countFailure(Record& record, Time now) {
    if (!record.pinged || record.counted || now - record.silentSince < stuckAfter) return;
    record.counted = true;
    ++record.failures;
}

} // namespace nomara::atspi
