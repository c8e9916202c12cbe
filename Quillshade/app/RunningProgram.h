#pragma once

#include "Quillshade/settings/SettingsCommands.h"

#include <string>

namespace nomara {

/// The program that runs in this session already, asked over the session bus. Waits; main thread.
namespace RunningProgram {

/// The process that offers the service; 0 if nobody does.
unsigned process();

struct Answer {
    std::string failure; ///< a sentence: nobody answered, or not in a way that is understood
    SettingsCommands::Outcome outcome;
    std::string place;      ///< where its settings lie
    bool isWritten = false; ///< or they hold until it ends
};
/// Has the commands carried out there, all of them or none.
Answer changeSettings(const SettingsCommands& commands);

} // namespace RunningProgram

} // namespace nomara
