#include "platform/linux/tesseract/TesseractEngine.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

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

} // namespace

class Engine::Session {
public:
    ::tesseract::TessBaseAPI api;
};

Engine::Engine(const std::filesystem::path& folder, const std::string& languages)
    : m_session(std::make_unique<Session>()) {
    silence();
    std::vector<std::string> names, values;
    for (const Variable& variable : atStart) {
        names.emplace_back(variable.name);
        values.emplace_back(variable.value);
    }
    static std::mutex starting; // Tesseract keeps a list of the whole process's variables
    const std::lock_guard lock(starting);
    if (m_session->api.Init(folder.c_str(), languages.c_str(), ::tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values,
                            false) != 0)
        throw PlatformError("Tesseract can't read its data \"" + languages + "\" in " + folder.string() + ".");
    m_session->api.SetPageSegMode(::tesseract::PSM_SINGLE_LINE);
    m_session->api.SetVariable("tessedit_do_invert", "0");
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
