#include "core/text/TextNormalizer.h"

#include "core/base/Hash.h"

#include <array>
#include <atomic>
#include <cstring>
#include <memory>

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace nomara::TextNormalizer {

namespace {

constexpr UChar32 replacement = 0xFFFD;

bool isMark(UChar32 c) {
    return (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0;
}

bool isLetterOrNumber(UChar32 c) {
    return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_N_MASK)) != 0;
}

// Zero-width joiners shape the letters around them and stand inside words.
bool isJoiner(UChar32 c) {
    return c == 0x200C || c == 0x200D;
}

// Conjoining Hangul: the one place where the fold of a text is more than the folds of its code points side by side.
bool isJamo(UChar32 c) {
    return c >= 0x1100 && c <= 0x11FF;
}

const icu::Normalizer2& normalizer(bool compatible, bool composed) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2* instance = compatible ? icu::Normalizer2::getNFKDInstance(error)
                                       : composed ? icu::Normalizer2::getNFCInstance(error)
                                                  : icu::Normalizer2::getNFDInstance(error);
    return *instance;
}

icu::UnicodeString decomposedWithoutMarks(const icu::UnicodeString& text) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::UnicodeString decomposed = normalizer(false, false).normalize(text, error);
    icu::UnicodeString kept;
    for (int32_t i = 0; i < decomposed.length(); i = decomposed.moveIndex32(i, 1))
        if (const UChar32 c = decomposed.char32At(i); !isMark(c)) kept.append(c);
    return kept;
}

// One step of decomposition and no more: what a wide or narrow form stands for may have parts of its own.
icu::UnicodeString withoutWidth(const icu::UnicodeString& text) {
    icu::UnicodeString plain;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        const auto type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
        icu::UnicodeString ordinary;
        if ((type == U_DT_WIDE || type == U_DT_NARROW) && normalizer(true, false).getRawDecomposition(c, ordinary))
            plain.append(ordinary);
        else
            plain.append(c);
    }
    return plain;
}

// What was folded into an index once must fold the same for good, or it can't be forgotten: characters that a later
// Unicode adds stay as they are, whatever the installed library knows of them.
bool isYoungerThanTheFold(UChar32 c) {
    constexpr std::uint8_t unicodeOfTheFold = 15;
    UVersionInfo age;
    u_charAge(c, age);
    return age[0] > unicodeOfTheFold;
}

std::string foldCodePoint(UChar32 c) {
    if (c == 'I' || c == 0x130 || c == 0x131) return "i";
    if (U_IS_SURROGATE(c)) c = replacement;
    std::string unchanged;
    if (isYoungerThanTheFold(c)) return icu::UnicodeString(c).toUTF8String(unchanged);
    icu::UnicodeString text = decomposedWithoutMarks(withoutWidth(decomposedWithoutMarks(icu::UnicodeString(c))));
    text = decomposedWithoutMarks(text.foldCase(U_FOLD_CASE_DEFAULT));
    UErrorCode error = U_ZERO_ERROR;
    std::string folded;
    normalizer(false, true).normalize(text, error).toUTF8String(folded);
    return folded;
}

/// The folds of 256 neighbouring code points, worked out when the first of them is met.
struct Page {
    std::array<std::string, 256> folds;
    std::array<bool, 256> jamo{};

    explicit Page(UChar32 first) {
        for (UChar32 i = 0; i < 256; ++i) {
            std::string& fold = folds[static_cast<std::size_t>(i)];
            fold = foldCodePoint(first + i);
            jamo[static_cast<std::size_t>(i)] = isJamo(icu::UnicodeString::fromUTF8(fold).char32At(0));
        }
    }
};

const Page& page(UChar32 c) {
    static std::array<std::atomic<Page*>, 0x1100> pages{};
    std::atomic<Page*>& slot = pages[static_cast<std::size_t>(c >> 8)];
    Page* known = slot.load(std::memory_order_acquire);
    if (known != nullptr) return *known;
    auto fresh = std::make_unique<Page>(c & ~0xFF);
    // Two threads may work out the same page; the first to publish it wins.
    if (slot.compare_exchange_strong(known, fresh.get(), std::memory_order_acq_rel)) return *fresh.release();
    return *known;
}

constexpr std::uint64_t everyByte(std::uint8_t value) {
    return 0x0101010101010101ULL * value;
}

// Upper-case letters of eight ASCII bytes at once: adding lifts a byte over 0x7F exactly from 'A', or from behind 'Z',
// on.
std::uint64_t lowerCased(std::uint64_t ascii) {
    const std::uint64_t fromA = ascii + everyByte(0x80 - 'A');
    const std::uint64_t behindZ = ascii + everyByte(0x80 - 'Z' - 1);
    return ascii | ((fromA & ~behindZ & everyByte(0x80)) >> 2);
}

std::size_t endOfASCII(std::string_view text, std::size_t position) {
    while (position + 8 <= text.size()) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + position, 8);
        if ((word & everyByte(0x80)) != 0) break;
        position += 8;
    }
    while (position < text.size() && static_cast<unsigned char>(text[position]) < 0x80)
        ++position;
    return position;
}

/// Appends the folds of the ASCII characters from `position` on and moves it behind them.
void foldASCII(std::string_view text, std::size_t& position, std::string& out) {
    std::size_t written = out.size();
    const std::size_t end = endOfASCII(text, position);
    out.append(text, position, end - position);
    position = end;
    for (; written + 8 <= out.size(); written += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, out.data() + written, 8);
        word = lowerCased(word);
        std::memcpy(out.data() + written, &word, 8);
    }
    for (; written < out.size(); ++written)
        if (const char c = out[written]; c >= 'A' && c <= 'Z') out[written] = static_cast<char>(c | 0x20);
}

} // namespace

std::string normalize(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 8);
    bool sawJamo = false;
    std::size_t position = 0;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    while (position < text.size()) {
        if (bytes[position] < 0x80) {
            foldASCII(text, position, out);
            continue;
        }
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(bytes, position, text.size(), c);
        const Page& entry = page(c);
        const auto index = static_cast<std::size_t>(c & 0xFF);
        out += entry.folds[index];
        sawJamo |= entry.jamo[index];
    }
    if (!sawJamo) return out;
    UErrorCode error = U_ZERO_ERROR;
    std::string composed;
    normalizer(false, true).normalize(icu::UnicodeString::fromUTF8(out), error).toUTF8String(composed);
    return composed;
}

std::vector<std::string> tokens(std::string_view text) {
    const std::string folded = normalize(text);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(folded.data());
    std::vector<std::string> result;
    std::size_t start = 0, position = 0;
    while (position < folded.size()) {
        const std::size_t here = position;
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(bytes, position, folded.size(), c);
        if (isLetterOrNumber(c) || (isJoiner(c) && here > start)) continue;
        if (here > start) result.push_back(folded.substr(start, here - start));
        start = position;
    }
    if (folded.size() > start) result.push_back(folded.substr(start));
    return result;
}

std::string foldCharacter(std::string_view character) {
    if (character.size() != 1) return character == "\r\n" ? std::string(character) : normalize(character);
    const char c = character.front();
    if (static_cast<unsigned char>(c) >= 0x80) return normalize(character);
    return std::string(1, c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c);
}

std::uint64_t fingerprint(std::string_view text) {
    return fnv1a(text);
}

} // namespace nomara::TextNormalizer
