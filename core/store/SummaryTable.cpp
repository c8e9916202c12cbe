#include "core/store/SummaryTable.h"

namespace nomara {

std::optional<DaySummary> SummaryTable::summary(const std::string& day) {
    const auto rows =
        m_db.query("SELECT text, source, created FROM summaries WHERE day = ?", {day}, [](const SQLRow& row) {
            return DaySummary{.text = row.text(0), .source = row.text(1), .created = {row.real(2)}};
        });
    if (rows.empty()) return std::nullopt;
    return rows.front();
}

void SummaryTable::setSummary(const std::string& day, const std::string& text, const std::string& source) {
    m_db.run("INSERT OR REPLACE INTO summaries (day, text, created, source) VALUES (?,?,?,?)",
             {day, text, m_clock.now().seconds, source});
}

} // namespace nomara
