#include "core/store/ActivityTable.h"

namespace nomara {

RowID ActivityTable::insertActivity(const ActivitySpan& span) {
    m_db.run("INSERT INTO activity (start_ts, end_ts, app_bundle, app_name, project, window_title) "
             "VALUES (?,?,?,?,?,?)",
             {span.start.seconds, span.end.seconds, span.appBundleID, span.appName, span.project, span.windowTitle});
    return m_db.lastInsertRowID();
}

void ActivityTable::updateActivity(RowID id, Date end, const std::optional<std::string>& project,
                                   const std::optional<std::string>& windowTitle) {
    m_db.run("UPDATE activity SET end_ts = ?, project = COALESCE(?, project), "
             "window_title = COALESCE(?, window_title) WHERE id = ?",
             {end.seconds, project, windowTitle, id});
}

std::vector<ActivitySpan> ActivityTable::activity(Date from, Date to) {
    return m_db.query("SELECT id, start_ts, end_ts, app_bundle, app_name, project, window_title FROM activity\n"
                      "WHERE start_ts < ? AND end_ts > ? ORDER BY start_ts",
                      {to.seconds, from.seconds}, [](const SQLRow& row) {
                          return ActivitySpan{
                              .id = row.integer(0),
                              .start = {row.real(1)},
                              .end = {row.real(2)},
                              .appBundleID = row.optionalText(3),
                              .appName = row.optionalText(4),
                              .project = row.optionalText(5),
                              .windowTitle = row.optionalText(6),
                          };
                      });
}

} // namespace nomara
