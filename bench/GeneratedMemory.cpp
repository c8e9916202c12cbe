#include "bench/GeneratedMemory.h"

#include "core/base/Clock.h"
#include "core/store/MemoryStore.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace nomara::bench {

namespace {

/// Raised with every change to what is generated, so that no older file is taken for it.
constexpr int generation = 1;
constexpr double daySeconds = 86400, workSeconds = 9 * 3600;
constexpr std::size_t applications = 30, browsers = 4, linesRemembered = 60;
constexpr std::int64_t framesInTransaction = 5'000;

std::string makeWord(std::size_t rank) {
    constexpr std::string_view consonants = "bcdfghjklmnpqrstvwxz", vowels = "aeiou";
    constexpr std::size_t syllables = consonants.size() * vowels.size();
    // Multiplied by a number that shares no factor with the count, neighbouring ranks look nothing alike.
    std::size_t length = 1, code = rank * 37 % syllables;
    if (rank >= syllables) {
        length = rank < syllables * syllables / 2 ? 2 : 3;
        code = rank * 7919 % (length == 2 ? syllables * syllables : syllables * syllables * syllables);
    }
    std::string word;
    for (std::size_t i = 0; i < length; ++i, code /= syllables) {
        const char consonant = consonants[code % syllables / vowels.size()];
        if (consonant == 's' && rank % 2 == 1) {
            word += "ş";
        } else if (consonant == 'g' && rank % 2 == 1) {
            word += "ğ";
        } else {
            word += consonant;
        }
        word += vowels[code % vowels.size()];
    }
    // Words of one syllable get a third letter; lengths tell the three kinds apart.
    if (length == 1) word += 'n';
    return word;
}

} // namespace

Vocabulary::Vocabulary(std::size_t size) {
    double sum = 0;
    for (std::size_t rank = 0; rank < size; ++rank) {
        m_words.push_back(makeWord(rank));
        sum += 1.0 / static_cast<double>(rank + 1);
        m_cumulative.push_back(sum);
    }
}

const std::string& Vocabulary::random(std::mt19937_64& random) const {
    const double place = static_cast<double>(random() >> 11) * 0x1p-53 * m_cumulative.back();
    const auto found = std::upper_bound(m_cumulative.begin(), m_cumulative.end(), place);
    return m_words[std::min(static_cast<std::size_t>(found - m_cumulative.begin()), m_words.size() - 1)];
}

FrameGenerator::FrameGenerator(const Vocabulary& vocabulary)
    : m_vocabulary(vocabulary), m_random(1), m_now{1'750'000'000} {
    for (std::size_t i = 0; i < applications; ++i) {
        const std::string name = m_vocabulary.word(200 + i);
        for (std::uint64_t titles = 2 + below(8); titles > 0; --titles) {
            Window window{"org.example." + name, name, phrase(1 + below(5)) + " - " + name, std::nullopt, {}};
            if (i < browsers)
                window.url =
                    "https://www." + m_vocabulary.word(300 + below(200)) + ".com/" + phrase(1) + "/" + phrase(1);
            m_windows.push_back(std::move(window));
        }
    }
}

NewFrame FrameGenerator::next() {
    if (m_framesLeft == 0) {
        // A square favours the applications in front, where the browsers are.
        const auto place = below(1000) * below(1000) * m_windows.size() / 1'000'000;
        m_window = static_cast<std::size_t>(place);
        m_framesLeft = 1 + below(40);
    }
    --m_framesLeft;
    m_now = m_now + static_cast<double>(2 + below(12));
    const double ofDay =
        m_now.seconds - daySeconds * static_cast<double>(static_cast<std::int64_t>(m_now.seconds / daySeconds));
    if (ofDay > workSeconds) m_now = m_now + (daySeconds - ofDay);

    Window& window = m_windows[m_window];
    NewFrame frame;
    frame.timestamp = m_now;
    frame.appBundleID = window.bundle;
    frame.appName = window.name;
    frame.windowTitle = window.title;
    frame.url = window.url;
    frame.perceptualHash = m_random();
    frame.width = 1920;
    frame.height = 1080;
    frame.textSource = TextSource::accessibility();
    // Mostly a few new lines; a new page or document brings a screenful, a long one many.
    const auto kind = below(100);
    const auto lines = kind < 55 ? 3 + below(12) : kind < 90 ? 15 + below(45) : 60 + below(140);
    for (std::uint64_t i = 0; i < lines; ++i)
        frame.lines.push_back(line(window));
    return frame;
}

std::string FrameGenerator::phrase(std::uint64_t words) {
    std::string text;
    for (std::uint64_t i = 0; i < words; ++i) {
        if (i > 0) text += ' ';
        std::string word = m_vocabulary.random(m_random);
        if (below(8) == 0 && word.front() >= 'a' && word.front() <= 'z')
            word.front() = static_cast<char>(word.front() - 'a' + 'A');
        text += word;
    }
    return text;
}

std::string FrameGenerator::line(Window& window) {
    if (!window.seen.empty() && below(4) == 0) return window.seen[below(window.seen.size())];
    std::string text = phrase(1 + below(11));
    const auto kind = below(30);
    if (kind == 0) text += " " + std::to_string(below(24)) + ":" + std::to_string(10 + below(50));
    if (kind == 1) text = "/home/" + phrase(1) + "/" + text;
    if (kind == 2) text += "…";
    if (kind == 3) text = "“" + text + "”, " + std::to_string(below(100'000));
    if (window.seen.size() < linesRemembered) {
        window.seen.push_back(text);
    } else {
        window.seen[below(linesRemembered)] = text;
    }
    return text;
}

std::filesystem::path generatedMemory(const std::filesystem::path& folder, std::int64_t frames,
                                      const Vocabulary& vocabulary) {
    std::filesystem::create_directories(folder);
    const auto name = "memory-" + std::to_string(generation) + "-" + std::to_string(frames);
    auto path = folder / (name + ".sqlite");
    if (std::filesystem::exists(path)) return path;

    const auto unfinished = folder / (name + ".unfinished");
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(unfinished.string() + suffix);
    std::fprintf(stderr, "Making a memory of %lld frames …\n", static_cast<long long>(frames));
    {
        const SystemClock clock;
        MemoryStore store(unfinished, false, clock);
        FrameGenerator generator(vocabulary);
        for (std::int64_t done = 0; done < frames;) {
            const std::int64_t end = std::min(done + framesInTransaction, frames);
            store.transaction([&] {
                for (; done < end; ++done)
                    store.insertFrame(generator.next());
            });
        }
        store.checkpoint();
    }
    std::filesystem::rename(unfinished, path);
    return path;
}

} // namespace nomara::bench
