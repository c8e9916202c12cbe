#include "Quillshade/capture/ImagePass.h"

#include "Quillshade/capture/WindowReading.h"
#include "Quillshade/reading/OCRService.h"
#include "Quillshade/segments/SegmentManager.h"
#include "Quillshade/windows/CaptureDiagnostics.h"
#include "core/applications/AppCatalog.h"
#include "core/imaging/FrameMasker.h"
#include "core/imaging/PerceptualHash.h"
#include "core/policy/FrameGate.h"
#include "core/text/LineSplitter.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace nomara {

namespace {

constexpr double maskPadding = 2;       // points: a window's edge may be drawn softly
constexpr double imagelessSeconds = 10; // a stream takes a moment to start, and so does what must not be seen
constexpr double deafSeconds = 5;       // whoever types sees something change in that time
constexpr std::size_t leastText = 40;   // bytes: less is a clock, or what a film is taken to say
constexpr double untouchedSeconds = 8;  // what keeps moving longer than that without a hand moves by itself
// Less than half of the time between two ticks, for all displays together; a tick overruns it by a line of text at
// most, some hundredths of a second. What is known from the last image takes none of it.
constexpr double mostReadingSeconds = 0.4;

std::optional<int> distance(std::optional<std::uint64_t> one, std::uint64_t other) {
    if (!one) return std::nullopt;
    return std::popcount(*one ^ other);
}

// The window before this one isn't to be kept under this one's title. A window settles once, not anew under each of its
// titles; what it showed under the last but one isn't kept under the latest.
void noteContext(DisplayState& state, ImageValidity& validity, const std::string& key, const std::string& window,
                 bool isActive, double now) {
    // A display that the front window has left shows what it showed; where that changes it is another matter.
    if (isActive ? state.capturedContext == key && !state.isStoredSince : state.capturedContext.has_value()) {
        if (state.pendingContext) validity.contextChanged(now);
        state.pendingContext.reset();
        state.contextChangedAt.reset();
        return;
    }
    if (state.pendingContext == key && state.pendingWindow == window) return;
    if (!state.pendingContext) state.changeBeganAt = now;
    if (state.pendingContext && state.pendingWindow == window) {
        validity.contextChanged(state.titleChangedAt);
    } else {
        validity.contextChanged(now);
        state.contextChangedAt = now;
    }
    state.pendingContext = key;
    state.pendingWindow = window;
    state.titleChangedAt = now;
}

std::string keyOf(DisplayID display) {
    return "display-" + std::to_string(display);
}

} // namespace

void ImagePass::run(const TickContext& tick) {
    m_readingSecondsLeft = mostReadingSeconds;
    const bool withoutImages = isWithoutImages(tick);
    const AppCategory category = AppCatalog::category(tick.app.bundleID);
    const bool isMedia = category == AppCategory::media || category == AppCategory::call;
    for (const auto& [id, capturer] : m_services.streams.capturers()) {
        const bool isActive = id == m_services.displays.active();
        const auto display = std::ranges::find(tick.displays, id, &Display::id);
        // Unplugged, or left a moment ago: its stream is about to end.
        if (display == tick.displays.end() || (!isActive && !tick.config.allDisplays)) continue;
        DisplayState& state = m_services.displays.state(id);
        ImageValidity& validity = m_services.displays.validity(id);
        // On a display without the front window nothing but the windows in the image is asked about.
        if (!isActive) validity.release(ImageValidity::Hold::page, tick.now);
        noteContext(state, validity, isActive ? tick.contextKey : keyOf(id), isActive ? tick.windowKey : "", isActive,
                    tick.now);
        if ((isActive && withoutImages) || validity.isHeld(ImageValidity::Hold::filter)) continue;
        const DisplayCapturer::Marks marks = capturer->marks();
        if (isActive && !marks.changed && FrontWindowGuard::isStillHeldBack(state, tick)) continue;
        const bool mediaLike =
            (isMedia && isActive) || (tick.inputIdle > untouchedSeconds && capturer->looksLikeMotion(tick.now));
        GateInput input{tick.now,
                        state.lastCaptureAt,
                        marks.changed,
                        marks.dirtyAccumulated,
                        tick.inputIdle.value_or(0), // not known: only a heartbeat is certain not to be in between
                        state.contextChangedAt,
                        mediaLike,
                        marks.painted,
                        isActive && state.isReadFromPicture,
                        isActive && !isMedia && state.showsNewText};
        // Windows that keep taking turns settle as well.
        if (input.contextChangedAt && tick.now - state.changeBeganAt >= tick.policy.heartbeat)
            input.contextChangedAt = state.changeBeganAt;
        // What changed an image that was taken already, or none that was asked for.
        if (isUnreadChangeDue(state, tick) || (isActive && state.heldBack)) {
            input.changed = true;
            input.dirtyFraction = 1;
        }
        if (FrameGate::shouldCapture(input, tick.policy)) capture(tick, *display, *capturer, isActive);
    }
    if (withoutImages) m_services.text.run(tick);
}

// What can't be read now is read later, from its picture: so it needs one, though not one for each line.
bool ImagePass::isUnreadChangeDue(const DisplayState& state, const TickContext& tick) {
    return state.hasUnreadChange && tick.now - state.lastStoredAt >= tick.policy.heartbeat;
}

// A stream gives no image where it can't be certain that nothing excluded is in it, or can't work at all: the front
// window's text is kept meanwhile.
bool ImagePass::isWithoutImages(const TickContext& tick) {
    const auto active = m_services.streams.capturers().find(m_services.displays.active());
    const auto latest = active == m_services.streams.capturers().end() ? std::nullopt : active->second->latestAt();
    // None was asked for.
    if (active != m_services.streams.capturers().end() && !latest &&
        m_services.displays.state(m_services.displays.active()).heldBack) {
        m_imagelessSince.reset();
        return false;
    }
    if (latest) {
        m_imagelessSince.reset();
        const double age = tick.now - *latest;
        if (active->second->marks().changed || age < imagelessSeconds ||
            tick.inputIdle.value_or(age) >= age - deafSeconds)
            return false;
        // Somebody has done something, and nothing has changed: a stream that works answers when it is asked.
        if (m_askedForImageAt <= *latest) {
            active->second->renew(0);
            m_askedForImageAt = tick.now;
        }
        return tick.now - m_askedForImageAt >= deafSeconds;
    }
    if (!m_imagelessSince) m_imagelessSince = tick.now;
    return tick.now - *m_imagelessSince >= imagelessSeconds;
}

// What is cheap and forbids the image comes before any pixel is touched, the hash before any text is stored, and the
// encoder last.
void ImagePass::capture(const TickContext& tick, const Display& display, DisplayCapturer& capturer, bool isActive) {
    const LatestImage latest = capturer.takeLatest();
    DisplayState& state = m_services.displays.state(display.id);
    ImageValidity& validity = m_services.displays.validity(display.id);
    // A display that doesn't change any more hands over nothing by itself; of a page that was held back, nothing is
    // asked for before it is clear.
    if (!latest.image && !(isActive && state.heldBack)) {
        capturer.renew(0);
        return m_services.log.note(tick, display.id, LookResult::noImage);
    }
    FrontPage page;
    if (isActive) {
        page = m_services.guard.page(tick);
        if (page.stop != SkipReason::Kind::none) {
            state.heldBack = FrontWindowGuard::heldBackPage(tick, page.stop);
            return holdBack(tick, display.id, capturer, page.stop);
        }
        validity.release(ImageValidity::Hold::page, tick.now);
        m_services.log.page(tick, SkipReason::Kind::none);
    }
    // What was painted meanwhile is counted by nobody.
    const double changedPart = std::exchange(state.heldBack, std::nullopt) ? 1 : latest.dirtyFraction;
    if (!latest.image) {
        capturer.renew(changedPart);
        return m_services.log.note(tick, display.id, LookResult::noImage);
    }
    if (!validity.allows(latest.latestAt)) {
        capturer.renew(changedPart);
        return m_services.log.note(tick, display.id, LookResult::staleImage);
    }
    m_services.willTakeLong();
    const Image image = safeImage(tick, display, latest);
    if (!image) return capturer.renew(changedPart);
    const std::uint64_t hash = PerceptualHash::hash(*image);

    const std::string key = isActive ? tick.contextKey : keyOf(display.id);
    const AppCategory category = isActive ? AppCatalog::category(tick.app.bundleID) : AppCategory::normal;
    const bool canReadNow = tick.policy.ocrNow && m_services.ocr.unavailableReason().empty();
    std::string text;
    WindowReading reading(tick.window.frame, category);
    if (isActive && tick.window.element) {
        WindowText told = m_services.inspector.text(*tick.window.element, tick.window.frame, TextLimits());
        reading.noteText(told);
        text = std::move(told.text);
        if (canReadNow) addProvenLines(text, told.unproven, image, display);
        if (!m_services.guard.isStillShown(tick, page))
            return holdBack(tick, display.id, capturer,
                            page.isBrowser ? SkipReason::Kind::unverifiedBrowser : SkipReason::Kind::none);
    }
    NewFrame frame;
    frame.timestamp = tick.date;
    frame.displayID = display.id;
    if (isActive) TextPass::describeFrontWindow(frame, tick, page);
    const auto lines = LineSplitter::lines(text, maxCaptureCharacters, maxCaptureLines);
    if (!lines.empty()) frame.textSource = TextSource::accessibility();
    frame.lines = m_services.lines.newLines(lines, key, tick.now);
    const TileDigest tiles(*image);
    const double different = tiles.differentPart(state.lastTiles);
    state.paintedSinceStored += latest.dirtyFraction;
    // What was painted counts where it may be text by now: a caret paints as much in time.
    const double changed =
        FrameGate::mayHoldText(different) ? std::max(different, state.paintedSinceStored) : different;
    bool isUnchanged =
        (isActive ? state.capturedContext == key : state.capturedContext.has_value()) &&
        FrameGate::isUnchanged(distance(state.lastHash, hash), changed, static_cast<std::int64_t>(frame.lines.size()));
    if (!isUnchanged || different > 0) state.isReadFromPicture = reading.needsPicture(*image, display.bounds);
    if (state.isReadFromPicture) frame.ocrState = OCRState::queued;
    const bool isSmallChange = isUnchanged && different > 0 && state.lastReadTiles != tiles.whole();
    if (state.isReadFromPicture && canReadNow && (!isUnchanged || (isSmallChange && isActive))) {
        // Of a change that is too small for a picture its text decides; lines that are known cost next to nothing.
        read(frame, image, key, reading, display.bounds);
        if (isUnchanged) isUnchanged = frame.lines.empty() && frame.ocrState == OCRState::done;
        if (isUnchanged) state.lastReadTiles = tiles.whole();
    } else if (isUnchanged) {
        state.hasUnreadChange = isSmallChange && FrameGate::mayHoldText(different);
        isUnchanged = !isUnreadChangeDue(state, tick);
    }
    if (isUnchanged) {
        if (isActive) {
            state.pendingContext.reset();
            state.contextChangedAt.reset();
            state.isStoredSince = false;
        }
        state.lastCaptureAt = tick.now;
        m_services.ingest.countSkipped();
        return m_services.log.note(tick, display.id, LookResult::unchanged);
    }
    if (const auto place = m_services.segments.append(image, display.id, tick.date, tick.config.imageQuality,
                                                      [this] { return m_services.isInterrupted(); })) {
        frame.imageState = ImageState::segment;
        frame.segmentID = place->segmentID;
        frame.segmentIndex = place->index;
    } else if (frame.ocrState == OCRState::queued && !canReadNow) {
        frame.ocrState = OCRState::notNeeded; // nothing is there that could be read later
    }
    frame.perceptualHash = hash;
    frame.width = static_cast<std::int64_t>(latest.width);
    frame.height = static_cast<std::int64_t>(latest.height);
    const bool hasPicture = frame.imageState == ImageState::segment;
    const auto id = m_services.ingest.save(frame);
    if (id && canReadNow && frame.ocrState == OCRState::queued)
        m_services.readSoon(*id, frame.timestamp, image, {key, reading.known(display.bounds)});
    m_services.log.note(tick, display.id,
                        !id          ? LookResult::failed
                        : hasPicture ? LookResult::stored
                                     : LookResult::storedText);
    DisplayState stored;
    stored.lastCaptureAt = stored.lastStoredAt = tick.now;
    stored.lastHash = hash;
    stored.lastTiles = tiles;
    stored.isReadFromPicture = state.isReadFromPicture;
    std::size_t newBytes = 0;
    for (const std::string& line : frame.lines)
        newBytes += line.size();
    stored.showsNewText = newBytes >= leastText;
    stored.capturedContext = isActive ? key : state.capturedContext.value_or(key);
    stored.isStoredSince = !isActive;
    state = std::move(stored);
}

/// Adds of these lines those that the image shows as well.
void ImagePass::addProvenLines(std::string& text, const std::vector<UnprovenLine>& lines, const Image& image,
                               const Display& display) {
    const Clock& clock = m_services.clock;
    for (const UnprovenLine& line : lines) {
        const auto place = relativeRect(line.place, display.bounds);
        if (m_readingSecondsLeft <= 0 || !place) continue;
        const double end = clock.uptime() + m_readingSecondsLeft;
        if (m_services.ocr.shows(image, *place, line.text,
                                 [this, &clock, end] { return m_services.isInterrupted() || clock.uptime() >= end; }))
            text += '\n' + line.text;
        m_readingSecondsLeft = end - clock.uptime();
    }
}

/// Adds what the image says; what can't be read in this tick's time stays for later, with the rest once more.
void ImagePass::read(NewFrame& frame, const Image& image, const std::string& key, const WindowReading& window,
                     const Rect& bounds) {
    if (m_readingSecondsLeft <= 0) return;
    const Clock& clock = m_services.clock;
    const double end = clock.uptime() + m_readingSecondsLeft;
    const auto reading = m_services.ocr.recognize(
        image, {.focus = frame.windowRect,
                .urgency = TextRequest::Urgency::now,
                .shouldStop = [this, &clock, end] { return m_services.isInterrupted() || clock.uptime() >= end; },
                .isKnown = window.known(bounds),
                .languages = window.languages(),
                .subject = frame.appBundleID.value_or("")});
    m_readingSecondsLeft = end - clock.uptime();
    m_services.ingest.countReading();
    const auto fresh = m_services.lines.newReadLines(OCRService::textLines(reading.observations), key, clock.uptime());
    frame.lines.insert(frame.lines.end(), fresh.begin(), fresh.end());
    frame.textSource = frame.textSource | TextSource::ocr();
    const bool isDataGone = reading.failed && !m_services.ocr.unavailableReason().empty();
    if (reading.isComplete && !isDataGone) frame.ocrState = OCRState::done;
}

// Images from before this moment won't be stored either.
void ImagePass::holdBack(const TickContext& tick, DisplayID display, DisplayCapturer& capturer,
                         SkipReason::Kind reason) {
    if (reason != SkipReason::Kind::none) m_services.log.page(tick, reason);
    capturer.dropLatest();
    m_services.displays.state(display).lastCaptureAt = tick.now;
    m_services.displays.validity(display).hold(ImageValidity::Hold::page);
    m_services.ingest.countSkipped();
    m_services.log.note(tick, display, LookResult::heldBack);
}

/// The image with everything painted over that must not be kept; nothing where that isn't certain. The next tick then
/// looks again.
Image ImagePass::safeImage(const TickContext& tick, const Display& display, const LatestImage& latest) {
    const auto verdicts =
        m_services.browserPrivacy.verdicts(latest.latestWindows, latest.previousWindows, latest.latestAt, tick.config);
    const bool isUnconfirmed = std::ranges::any_of(latest.latestWindows, [&](const ScreenWindow& window) {
        return verdicts.at(window.id) == WindowPrivacy::Verdict::unconfirmed && window.frame.intersects(display.bounds);
    });
    // The stream didn't know yet that a window must not be seen, or it isn't certain that a page was the one in the
    // image that it is now; the next image tells.
    if (m_services.updateHiddenWindows() || isUnconfirmed) {
        m_services.ingest.countSkipped();
        m_services.log.note(tick, display.id, LookResult::staleImage);
        return nullptr;
    }
    const WindowPrivacy::Decision decision =
        latest.layers
            ? WindowPrivacy::decideByLayers(*latest.layers, latest.latestWindows, verdicts, latest.width, latest.height)
            : WindowPrivacy::decide(latest.previousWindows, latest.latestWindows, verdicts, display.bounds,
                                    maskPadding);
    Image image = decision.masks.empty() ? latest.image : FrameMasker::mask(*latest.image, decision.masks);
    if (!decision.capture || !image) {
        m_services.ingest.countSkipped();
        CaptureDiagnostics::addSkippedImage();
        m_services.log.note(tick, display.id, decision.capture ? LookResult::failed : LookResult::windowsMoving);
        return nullptr;
    }
    if (!decision.masks.empty()) CaptureDiagnostics::addMaskedImage();
    return image;
}

} // namespace nomara
