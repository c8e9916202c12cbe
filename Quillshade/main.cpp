#include "Quillshade/app/Program.h"
#include "platform/linux/LinuxPlatform.h"

int main(int argc, char** argv) {
    const auto parsed = nomara::parseArguments(argc, argv);
    if (const int* code = std::get_if<int>(&parsed)) return *code;
    nomara::LinuxPlatform platform;
    return nomara::runProgram(argc, argv, std::get<nomara::Arguments>(parsed), platform);
}
