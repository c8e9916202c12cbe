// Folding text, as insertion and search do, against the same fold written with ICU alone.

#include "bench/Measure.h"
#include "core/text/TextNormalizer.h"

#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

using namespace nomara;

namespace {

/// At least this many times as fast as the rival.
constexpr double asciiBar = 8, mixedBar = 0.95;
constexpr int rounds = 60;

/// The fold by ICU's own operations, each on the whole text; the normalizers are fetched once and what needs no work
/// is passed over.
class FoldByICU {
public:
    FoldByICU() : m_decompose(instance(false)), m_compose(instance(true)), m_width(compatible()) {}

    std::string operator()(std::string_view utf8) const {
        UErrorCode error = U_ZERO_ERROR;
        auto text = icu::UnicodeString::fromUTF8({utf8.data(), static_cast<int32_t>(utf8.size())});
        replaceI(text);
        text = m_decompose.normalize(text, error);
        foldWidth(text);
        text.foldCase(U_FOLD_CASE_DEFAULT);
        stripMarks(text);
        text = m_compose.normalize(text, error);
        std::string folded;
        folded.reserve(utf8.size());
        text.toUTF8String(folded);
        return folded;
    }

private:
    static const icu::Normalizer2& instance(bool composed) {
        UErrorCode error = U_ZERO_ERROR;
        return composed ? *icu::Normalizer2::getNFCInstance(error) : *icu::Normalizer2::getNFDInstance(error);
    }
    static const icu::Normalizer2& compatible() {
        UErrorCode error = U_ZERO_ERROR;
        return *icu::Normalizer2::getNFKDInstance(error);
    }

    static void replaceI(icu::UnicodeString& text) {
        const int32_t length = text.length();
        char16_t* units = text.getBuffer(length);
        for (int32_t i = 0; i < length; ++i)
            if (units[i] == u'I' || units[i] == u'\u0130' || units[i] == u'\u0131') units[i] = u'i';
        text.releaseBuffer(length);
    }

    void foldWidth(icu::UnicodeString& text) const {
        // Every wide and narrow form but the ideographic space stands in one block.
        const auto mayHaveWidth = [](char16_t unit) { return unit == 0x3000 || (unit >= 0xFF00 && unit <= 0xFFEF); };
        int32_t first = 0;
        while (first < text.length() && !mayHaveWidth(text[first]))
            ++first;
        if (first == text.length()) return;
        UErrorCode error = U_ZERO_ERROR;
        icu::UnicodeString plain(text, 0, first);
        for (int32_t i = first; i < text.length(); ++i) {
            if (mayHaveWidth(text[i])) {
                plain.append(m_width.normalize(icu::UnicodeString(text[i]), error));
            } else {
                plain.append(text[i]);
            }
        }
        text = std::move(plain);
    }

    static void stripMarks(icu::UnicodeString& text) {
        const int32_t length = text.length();
        char16_t* units = text.getBuffer(length);
        int32_t kept = 0;
        for (int32_t i = 0; i < length;) {
            const int32_t start = i;
            UChar32 c = 0;
            U16_NEXT(units, i, length, c);
            // No mark comes before the combining acute's block.
            if (c >= 0x300 && (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0) continue;
            for (int32_t j = start; j < i; ++j)
                units[kept++] = units[j];
        }
        text.releaseBuffer(kept);
    }

    const icu::Normalizer2& m_decompose;
    const icu::Normalizer2& m_compose;
    const icu::Normalizer2& m_width;
};

using Texts = std::vector<std::string>;

struct Corpus {
    const char* name;
    bool ascii;
    std::vector<const char*> words;
};

/// What frames hold: lines of a few words, some of them in capitals.
Texts makeTexts(const Corpus& corpus, std::size_t bytesEach, std::size_t count) {
    std::mt19937 random(11);
    Texts texts(count);
    for (auto& text : texts) {
        while (text.size() < bytesEach) {
            for (auto left = 2 + random() % 8; left > 0; --left) {
                text += corpus.words[random() % corpus.words.size()];
                text += left > 1 ? ' ' : '\n';
            }
        }
    }
    return texts;
}

const Corpus corpora[] = {
    {"ASCII prose",
     true,
     {"The", "quick", "brown", "fox", "Inbox", "is", "about", "Settings", "window", "version", "2.4"}},
    {"ASCII code", true, {"int", "main()", "{", "std::string", "return", "0;", "}", "//", "FIXED_SIZE", "if", "(i"}},
    {"English, typeset",
     false,
     {"The", "“quick”", "brown", "fox’s", "—", "about", "Settings…", "Inbox", "is", "•", "café"}},
    {"Turkish", false, {"İstanbul", "ve", "ığdır", "Şişli", "çok", "güzel", "bir", "şehir", "IŞIK", "kapalı", "için"}},
    {"German and French",
     false,
     {"Straße", "für", "über", "déjà", "vu", "très", "Größe", "und", "la", "FENÊTRE", "ist"}},
    {"Decomposed",
     false,
     {"de\u0301ja\u0300", "vu", "u\u0308ber", "I\u0307stanbul", "and", "so", "a\u0301\u0323", "on"}},
    {"Russian and Greek", false, {"Привет", "МИР", "ёлка", "и", "Ἀχιλλεύς", "Σίσυφος", "это", "окно", "ΩΣ"}},
    {"Japanese", false, {"日本語の", "テキスト", "ウィンドウ", "を", "ひらがな", "ガギグ", "検索", "ABC", "設定"}},
    {"Japanese, old widths", false, {"ｶﾞｷﾞ", "ＡＢＣ", "１２３", "ﾃｷｽﾄ", "日本", "　", "検索"}},
    {"Korean", false, {"한국어", "텍스트", "창", "검색", "설정", "ABC", "그리고"}},
    {"Hindi and Arabic", false, {"हिन्दी", "में", "खोज", "مرحبا", "بالعالم", "और", "ABC"}},
    {"Emoji", false, {"great", "👍🏽", "👩‍👩‍👧", "work", "❤️", "ok", "🇹🇷", "done"}},
};

struct Figures {
    double ours, rival; // seconds for all the texts, the median of the rounds
    double ratio() const { return rival / ours; }
};

Figures measure(const Texts& texts, const FoldByICU& byICU) {
    const auto foldAll = [&texts](const auto& fold) {
        return [&texts, &fold] {
            for (const auto& text : texts)
                bench::keep(fold(text));
        };
    };
    const auto ourFold = [](const std::string& text) { return TextNormalizer::normalize(text); };
    std::vector<double> ours, rival;
    // Folding only computes, so the thread's own time is its time, whatever else the machine does.
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(bench::timed(foldAll(ourFold), bench::cpuSeconds));
        rival.push_back(bench::timed(foldAll(byICU), bench::cpuSeconds));
    }
    return {bench::percentile(ours, 0.5), bench::percentile(rival, 0.5)};
}

} // namespace

int main() {
    const FoldByICU byICU;
    bool allMet = true;
    std::printf("Folding, MB/s of UTF-8 by CPU time; a line is 60 bytes, a frame 4,000, a long one 40,000. Bars: ASCII "
                "%.0fx, mixed "
                "%.2fx of ICU alone.\n\n",
                asciiBar, mixedBar);
    std::printf("%-22s %7s %9s %9s %8s  %s\n", "text", "bytes", "ours", "ICU", "ratio", "bar");
    for (const auto& corpus : corpora) {
        for (const std::size_t bytes : {60U, 4'000U, 40'000U}) {
            const Texts texts = makeTexts(corpus, bytes, 400'000 / bytes);
            std::size_t total = 0;
            for (const auto& text : texts) {
                total += text.size();
                if (TextNormalizer::normalize(text) == byICU(text)) continue;
                std::printf("%s: the two folds differ: %s\n", corpus.name, text.substr(0, 60).c_str());
                return 1;
            }
            const Figures figures = measure(texts, byICU);
            const bool met = figures.ratio() >= (corpus.ascii ? asciiBar : mixedBar);
            allMet &= met;
            const double megabytes = static_cast<double>(total) / 1e6;
            std::printf("%-22s %7zu %9.1f %9.1f %7.2fx  %s\n", corpus.name, bytes, megabytes / figures.ours,
                        megabytes / figures.rival, figures.ratio(), met ? "met" : "NOT MET");
        }
    }
    return allMet ? 0 : 1;
}
