#include "core/base/Log.h"

#include <cstdio>
#include <cstdlib>

namespace nomara::Log {

namespace {

const char* name(LogCategory category) {
    switch (category) {
    case LogCategory::app:
        return "app";
    case LogCategory::capture:
        return "capture";
    case LogCategory::storage:
        return "storage";
    case LogCategory::ocr:
        return "ocr";
    case LogCategory::ai:
        return "ai";
    }
    return "app";
}

// The journal reads a syslog level in angle brackets at the start of a line; a person at a terminal shouldn't see it.
void write(const char* level, LogCategory category, std::string_view message) {
    static const bool underJournal = std::getenv("JOURNAL_STREAM") != nullptr;
    std::string line;
    if (underJournal) line += level;
    line.append("quillshade ").append(name(category)).append(": ").append(message).append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void error(LogCategory category, std::string_view message) {
    write("<3>", category, message);
}

void notice(LogCategory category, std::string_view message) {
    write("<5>", category, message);
}

} // namespace nomara::Log
