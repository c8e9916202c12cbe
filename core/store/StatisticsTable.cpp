#include "core/store/StatisticsTable.h"

namespace nomara {

void StatisticsTable::addStats(const std::string& day, const StatsDelta& delta) {
    if (delta.isEmpty()) return;
    m_db.run("INSERT INTO daily_stats (day, frames_saved, frames_skipped, ocr_runs, cpu_seconds, energy_joules, "
             "bytes_written)\n"
             "VALUES (?,?,?,?,?,?,?)\n"
             "ON CONFLICT(day) DO UPDATE SET\n"
             "    frames_saved = frames_saved + excluded.frames_saved,\n"
             "    frames_skipped = frames_skipped + excluded.frames_skipped,\n"
             "    ocr_runs = ocr_runs + excluded.ocr_runs,\n"
             "    cpu_seconds = cpu_seconds + excluded.cpu_seconds,\n"
             "    energy_joules = energy_joules + excluded.energy_joules,\n"
             "    bytes_written = bytes_written + excluded.bytes_written",
             {day, delta.framesSaved, delta.framesSkipped, delta.ocrRuns, delta.cpuSeconds, delta.energyJoules,
              delta.bytesWritten});
}

std::vector<DayStats> StatisticsTable::stats(const std::string& fromDay, const std::string& toDay) {
    return m_db.query("SELECT day, frames_saved, frames_skipped, ocr_runs, cpu_seconds, energy_joules, bytes_written\n"
                      "FROM daily_stats WHERE day >= ? AND day <= ? ORDER BY day",
                      {fromDay, toDay}, [](const SQLRow& row) {
                          return DayStats{
                              .day = row.text(0),
                              .framesSaved = row.integer(1),
                              .framesSkipped = row.integer(2),
                              .ocrRuns = row.integer(3),
                              .cpuSeconds = row.real(4),
                              .energyJoules = row.real(5),
                              .bytesWritten = row.integer(6),
                          };
                      });
}

} // namespace nomara
