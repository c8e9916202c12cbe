#pragma once

#include "core/base/Date.h"
#include "core/geometry/Geometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Plain value records about remembered frames and what was found in them.
/// Text is UTF-8; every length, offset or limit of text counts extended grapheme clusters.

namespace nomara {

using RowID = std::int64_t;
using DisplayID = std::uint32_t;

/// Where a frame's picture is. The raw values are stored.
enum class ImageState : std::int64_t {
    reserved = 0, ///< the column's default; nothing writes it
    segment = 1,  ///< a frame of a video segment
    dropped = 2,  ///< the picture existed and was removed; the text survives
    none = 3,     ///< no picture was taken
};
/// A value outside the enumeration reads as `none`.
ImageState imageState(std::int64_t rawValue);

/// What text recognition has done with a frame's picture. The raw values are stored.
enum class OCRState : std::int64_t { notNeeded = 0, queued = 1, done = 2, failed = 3 };
/// A value outside the enumeration reads as `notNeeded`.
OCRState ocrState(std::int64_t rawValue);

/// Which readers contributed a frame's text: a set of bits.
struct TextSource {
    std::int64_t rawValue = 0;

    static constexpr std::int64_t accessibilityBit = 1, ocrBit = 2;
    static constexpr TextSource accessibility() { return {accessibilityBit}; }
    static constexpr TextSource ocr() { return {ocrBit}; }

    constexpr bool contains(TextSource other) const { return (rawValue & other.rawValue) == other.rawValue; }
    friend constexpr TextSource operator|(TextSource a, TextSource b) { return {a.rawValue | b.rawValue}; }
    friend bool operator==(const TextSource&, const TextSource&) = default;
};

/// What the capture pipeline hands to the store for one frame.
struct NewFrame {
    Date timestamp;
    DisplayID displayID = 0;
    std::optional<std::string> appBundleID;
    std::optional<std::string> appName;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    std::optional<std::string> project;
    std::uint64_t perceptualHash = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    ImageState imageState = ImageState::none;
    std::optional<RowID> segmentID;
    std::optional<std::int64_t> segmentIndex;
    OCRState ocrState = OCRState::notNeeded;
    TextSource textSource;
    std::vector<std::string> lines;
    std::int64_t bytes = 0;
    std::optional<RelativeRect> windowRect;
    friend bool operator==(const NewFrame&, const NewFrame&) = default;
};

/// One whole row of `frames`.
struct FrameRecord {
    RowID id = 0;
    Date timestamp;
    DisplayID displayID = 0;
    std::optional<std::string> appBundleID;
    std::optional<std::string> appName;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    std::optional<std::string> project;
    std::int64_t width = 0;
    std::int64_t height = 0;
    ImageState imageState = ImageState::none;
    std::optional<std::string> imagePath; ///< a still picture's file; read and carried along, never written
    std::optional<RowID> segmentID;
    std::optional<std::int64_t> segmentIndex;
    std::optional<std::string> segmentPath;
    OCRState ocrState = OCRState::notNeeded;
    TextSource textSource;
    std::int64_t textChars = 0;
    std::int64_t keyframe = 0; ///< 0 ordinary, 1 kept through thinning, 2 thinned away
    std::int64_t bytes = 0;
    std::optional<RelativeRect> windowRect;
    friend bool operator==(const FrameRecord&, const FrameRecord&) = default;

    std::optional<std::string> displayTitle() const;
    std::string contextKey() const;
};

/// The light form for lists, timelines and results.
struct FrameSummary {
    RowID id = 0;
    Date timestamp;
    DisplayID displayID = 0;
    std::optional<std::string> appBundleID;
    std::optional<std::string> appName;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    ImageState imageState = ImageState::none;
    std::optional<std::string> segmentPath;
    std::optional<std::int64_t> segmentIndex;
    friend bool operator==(const FrameSummary&, const FrameSummary&) = default;

    std::optional<std::string> displayTitle() const;
};

/// What was looked at in one window: the bundle identifier (or "?"), U+001F, the title (or nothing).
std::string contextKey(const std::optional<std::string>& appBundleID, const std::optional<std::string>& windowTitle);

/// A stretch of characters, half open.
struct CharacterRange {
    std::int64_t start = 0;
    std::int64_t end = 0;
    friend bool operator==(const CharacterRange&, const CharacterRange&) = default;
};

struct Snippet {
    std::string text;
    std::vector<CharacterRange> highlights; ///< ascending by start, not overlapping
    friend bool operator==(const Snippet&, const Snippet&) = default;
};

struct SearchHit {
    FrameSummary frame;
    Snippet snippet;
    std::int64_t matchCount = 0; ///< how many near-identical frames this hit stands for
    double score = 0;            ///< higher is better
    friend bool operator==(const SearchHit&, const SearchHit&) = default;
};

/// What was seen in one application window over a stretch of time.
struct ContextDigest {
    std::optional<std::string> appName;
    std::optional<std::string> appBundleID;
    std::optional<std::string> windowTitle;
    std::optional<std::string> url;
    Date start;
    Date end;
    std::int64_t frameCount = 0;
    std::string text;
    friend bool operator==(const ContextDigest&, const ContextDigest&) = default;
};

struct AppCount {
    std::string bundleID;
    std::string name;
    std::int64_t count = 0;
    friend bool operator==(const AppCount&, const AppCount&) = default;
};

struct TitleCount {
    std::string application;
    std::string title;
    std::int64_t count = 0;
    friend bool operator==(const TitleCount&, const TitleCount&) = default;
};

} // namespace nomara
