#include "platform/linux/tesseract/TesseractEngine.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <limits>
#include <mutex>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>
#include <unistd.h>

namespace nomara::tesseract {

namespace {

struct Variable {
    const char* name;
    const char* value;
};

// Names, codes and commands are the text of a screen: a dictionary would make other words of them. The matrix of all
// readings that were thought of takes more memory than everything else, and nobody asks for it.
constexpr Variable atStart[] = {
    {"lstm_use_matrix", "0"}, {"load_system_dawg", "0"}, {"load_freq_dawg", "0"},
    {"load_punc_dawg", "0"},  {"load_number_dawg", "0"},
};

// Below this confidence three words of four are wrong. Where a line has more of them than that share, a second look at
// all of it is worth its time.
constexpr float leastCertain = 0.3F, mostDoubtful = 0.1F;

std::uint16_t small(double value) {
    return static_cast<std::uint16_t>(
        std::clamp<double>(std::round(value), 0, std::numeric_limits<std::uint16_t>::max()));
}

// Where messages go is a variable of the whole process, and no other session may be starting or reading when it is set.
void silence() {
    static std::once_flag once;
    std::call_once(once, [] { ::tesseract::TessBaseAPI().SetVariable("debug_file", "/dev/null"); });
}

constexpr int isSound = 0, isDamaged = 1, isUnknown = 2; // exit codes

/// Held while a session starts: Tesseract keeps a list of the whole process's variables.
std::mutex& starting() {
    static std::mutex mutex;
    return mutex;
}

/// False where the data can't be read.
bool open(::tesseract::TessBaseAPI& api, const std::filesystem::path& folder, const std::string& languages) {
    std::vector<std::string> names, values;
    for (const Variable& variable : atStart) {
        names.emplace_back(variable.name);
        values.emplace_back(variable.value);
    }
    if (api.Init(folder.c_str(), languages.c_str(), ::tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values, false) !=
        0)
        return false;
    api.SetPageSegMode(::tesseract::PSM_SINGLE_LINE);
    api.SetVariable("tessedit_do_invert", "0");
    return true;
}

/// In a process of its own, which it ends. Other threads aren't there, and what they held stays locked.
[[noreturn]] void tryAndExit(const std::filesystem::path& folder, const std::string& language, const GrayImage& line) {
    constexpr unsigned patience = 20; // seconds
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM})
        ::signal(signal, SIG_DFL);
    prctl(PR_SET_DUMPABLE, 0); // no core file
    alarm(patience);
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) dup2(nowhere, STDERR_FILENO);
    try {
        ::tesseract::TessBaseAPI api;
        if (!open(api, folder, language)) _exit(isDamaged);
        api.SetImage(line.bytes.data(), line.width, line.height, 1, line.width);
        _exit(api.Recognize(nullptr) == 0 ? isSound : isDamaged);
    } catch (...) {
        _exit(isUnknown); // there is no memory, say
    }
}

} // namespace

DataState tryData(const std::filesystem::path& folder, const std::string& language, const LineCrop& line) {
    silence();
    const GrayImage image = line.at(LineCrop::Size::quick);
    pid_t child = -1;
    {
        const std::lock_guard lock(starting());
        child = fork();
        if (child == 0) tryAndExit(folder, language, image);
    }
    int status = 0;
    if (child < 0) return DataState::unknown;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return DataState::unknown;
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGKILL || signal == SIGALRM || signal == SIGTERM ? DataState::unknown : DataState::damaged;
    }
    return WEXITSTATUS(status) == isSound     ? DataState::sound
           : WEXITSTATUS(status) == isDamaged ? DataState::damaged
                                              : DataState::unknown;
}

class Engine::Session {
public:
    ::tesseract::TessBaseAPI api;
};

Engine::Engine(const std::filesystem::path& folder, const std::string& languages)
    : m_session(std::make_unique<Session>()) {
    silence();
    const std::lock_guard lock(starting());
    if (!open(m_session->api, folder, languages))
        throw PlatformError("Tesseract can't read its data \"" + languages + "\" in " + folder.string() + ".");
}

Engine::~Engine() = default;

ReadLine Engine::read(const LineCrop& line) {
    ReadLine quick = read(line, LineCrop::Size::quick);
    if (quick.doubtful <= mostDoubtful || line.scale(LineCrop::Size::quick) == line.scale(LineCrop::Size::careful))
        return quick;
    ReadLine careful = read(line, LineCrop::Size::careful);
    return careful.confidence > quick.confidence ? careful : quick;
}

ReadLine Engine::read(const LineCrop& line, LineCrop::Size size) {
    ::tesseract::TessBaseAPI& api = m_session->api;
    const GrayImage image = line.at(size);
    const double scale = line.scale(size);
    api.SetImage(image.bytes.data(), image.width, image.height, 1, image.width);
    api.SetSourceResolution(100); // it asks for one, and has no use for it
    if (api.Recognize(nullptr) != 0) throw PlatformError("Tesseract could not read a line.");

    ReadLine result;
    double sum = 0;
    std::size_t symbols = 0, doubtful = 0;
    const std::unique_ptr<::tesseract::ResultIterator> at(api.GetIterator());
    if (!at || at->Empty(::tesseract::RIL_SYMBOL)) {
        api.Clear();
        return result;
    }
    do {
        const std::unique_ptr<const char[]> text(at->GetUTF8Text(::tesseract::RIL_SYMBOL));
        if (!text || text[0] == 0) continue;
        if (at->IsAtBeginningOf(::tesseract::RIL_WORD) && !result.text.empty()) result.text += ' ';
        const std::string symbol = text.get();
        if (result.text.size() + symbol.size() > std::numeric_limits<std::uint16_t>::max()) break;
        int left = 0, top = 0, right = 0, bottom = 0;
        if (at->BoundingBox(::tesseract::RIL_SYMBOL, &left, &top, &right, &bottom))
            result.symbols.push_back({small(static_cast<double>(result.text.size())),
                                      small(static_cast<double>(symbol.size())), small(left / scale),
                                      small(top / scale), small(right / scale), small(bottom / scale)});
        result.text += symbol;
        const float confidence = std::clamp(at->Confidence(::tesseract::RIL_WORD) / 100, 0.0F, 1.0F);
        if (confidence < leastCertain) ++doubtful;
        sum += static_cast<double>(confidence);
        ++symbols;
    } while (at->Next(::tesseract::RIL_SYMBOL));
    if (symbols > 0) {
        result.confidence = static_cast<float>(sum / static_cast<double>(symbols));
        result.doubtful = static_cast<float>(doubtful) / static_cast<float>(symbols);
    }
    api.Clear();
    return result;
}

} // namespace nomara::tesseract
