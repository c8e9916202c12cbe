#include "Quillshade/capture/DisplayCapturer.h"

#include "Quillshade/windows/CaptureDiagnostics.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

constexpr std::size_t maxRecentSamples = 64, maxPaintedPlaces = 64;

// Twelve samples in half a minute, four of five with a part of the picture moving that a caret or a clock never fills.
constexpr double motionSeconds = 30;
constexpr std::size_t motionSamples = 12;
constexpr double motionFraction = 0.04;
constexpr double motionShare = 0.8;

// Rectangles that overlap count twice.
double dirtyFraction(const DisplaySample& sample) {
    if (!sample.dirty) return 1;
    double area = 0;
    for (const Rect& rect : *sample.dirty)
        area += rect.width * rect.height;
    return std::min(area / (double(sample.image->width) * sample.image->height), 1.0);
}

bool contains(const Rect& outer, const Rect& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}

} // namespace

DisplayCapturer::DisplayCapturer(DisplayID display, std::unique_ptr<DisplayStream> stream, const Clock& clock,
                                 VisibleWindows visibleWindows)
    : m_displayID(display), m_clock(clock), m_visibleWindows(std::move(visibleWindows)), m_stream(std::move(stream)) {}

DisplayCapturer::~DisplayCapturer() {
    stop();
}

void DisplayCapturer::start(DisplayStreamFilter filter, double streamInterval, std::string token, Started started) {
    m_lastConfiguration = {m_displayID, std::move(filter), streamInterval, std::move(token)};
    DisplayStreamCallbacks callbacks;
    callbacks.started = std::move(started);
    callbacks.imageTaken = [this](double age) {
        m_takenAt = m_clock.uptime() - age;
        const auto before = CaptureDiagnostics::threadNanoseconds();
        m_takenWindows = m_visibleWindows();
        CaptureDiagnostics::addWindowListRead(CaptureDiagnostics::threadNanoseconds() - before);
    };
    callbacks.sample = [this](DisplaySample sample) { keep(std::move(sample)); };
    callbacks.stopped = [this](const DisplayStreamError& error) { streamEnded(error); };
    m_stream->start(m_lastConfiguration, std::move(callbacks));
}

void DisplayCapturer::stop() {
    m_stream->stop();
}

void DisplayCapturer::updateFilter(const DisplayStreamFilter& filter) {
    m_lastConfiguration.filter = filter;
    m_stream->setFilter(filter);
    m_stream->renew();
}

void DisplayCapturer::updateInterval(double streamInterval) {
    if (m_lastConfiguration.intervalSeconds == streamInterval) return;
    m_lastConfiguration.intervalSeconds = streamInterval;
    m_stream->setInterval(streamInterval);
}

std::string DisplayCapturer::token() {
    return m_stream->token();
}

void DisplayCapturer::setOnStop(OnStop onStop) {
    std::optional<DisplayStreamError> ended;
    {
        const std::lock_guard lock(m_lock);
        ended = std::exchange(m_ended, std::nullopt);
        if (!ended) {
            m_onStop = std::move(onStop);
            return;
        }
    }
    if (onStop) onStop(*this, *ended);
}

LatestImage DisplayCapturer::takeLatest() {
    const std::lock_guard lock(m_lock);
    if (!m_latest) return {};
    const double dirty = m_dirtyAccumulated;
    forgetMarks();
    return {m_latest,   std::min(dirty, 1.0), double(m_latest->width), double(m_latest->height),
            m_latestAt, m_latestWindows,      m_previousWindows,       m_latestLayers};
}

void DisplayCapturer::dropLatest() {
    const std::lock_guard lock(m_lock);
    m_latest.reset();
    m_latestAt = 0;
    forgetMarks();
    m_owedDirt = 0;
}

void DisplayCapturer::renew(double dirtyFraction) {
    {
        const std::lock_guard lock(m_lock);
        m_owedDirt += dirtyFraction;
    }
    m_stream->renew();
}

void DisplayCapturer::clearMarks() {
    const std::lock_guard lock(m_lock);
    forgetMarks();
}

void DisplayCapturer::forgetMarks() {
    m_changed = false;
    m_dirtyAccumulated = m_painted = 0;
    m_paintedPlaces.clear();
}

DisplayCapturer::Marks DisplayCapturer::marks() const {
    const std::lock_guard lock(m_lock);
    return {m_changed, m_dirtyAccumulated, m_painted};
}

std::optional<double> DisplayCapturer::latestAt() const {
    const std::lock_guard lock(m_lock);
    return m_latest ? std::optional(m_latestAt) : std::nullopt;
}

bool DisplayCapturer::looksLikeMotion(double now) const {
    const std::lock_guard lock(m_lock);
    std::size_t recent = 0, moving = 0;
    for (const auto& [at, fraction] : m_recentDirt) {
        if (now - at > motionSeconds) continue;
        ++recent;
        if (fraction >= motionFraction) ++moving;
    }
    return recent >= motionSamples && double(moving) >= motionShare * double(recent);
}

void DisplayCapturer::keep(DisplaySample sample) {
    if (!sample.image || sample.image->width <= 0 || sample.image->height <= 0) return;
    const double fraction = dirtyFraction(sample);
    const std::lock_guard lock(m_lock);
    if (m_hasWindowList)
        m_previousWindows = std::move(m_latestWindows);
    else
        m_previousWindows.reset();
    m_latestWindows = std::move(m_takenWindows);
    m_hasWindowList = true;
    m_latest = std::move(sample.image);
    m_latestLayers = std::move(sample.layers);
    m_latestAt = m_takenAt;
    if (fraction > 0 || m_owedDirt > 0) {
        addPainted(sample, fraction);
        m_dirtyAccumulated += fraction + std::exchange(m_owedDirt, 0.0);
        m_changed = true;
    }
    m_recentDirt.push_back({m_takenAt, fraction});
    if (m_recentDirt.size() > maxRecentSamples) m_recentDirt.pop_front();
}

// A caret paints the same place again and again.
void DisplayCapturer::addPainted(const DisplaySample& sample, double fraction) {
    m_painted += m_owedDirt;
    if (!sample.dirty) {
        m_painted += fraction;
        return;
    }
    const double pixels = double(m_latest->width) * m_latest->height;
    for (const Rect& rect : *sample.dirty) {
        if (std::ranges::any_of(m_paintedPlaces, [&](const Rect& known) { return contains(known, rect); })) continue;
        m_painted += rect.width * rect.height / pixels;
        if (m_paintedPlaces.size() < maxPaintedPlaces) m_paintedPlaces.push_back(rect);
    }
}

void DisplayCapturer::streamEnded(const DisplayStreamError& error) {
    OnStop onStop;
    {
        const std::lock_guard lock(m_lock);
        m_latest.reset();
        onStop = std::exchange(m_onStop, nullptr);
        if (!onStop) m_ended = error;
    }
    if (onStop) onStop(*this, error);
}

} // namespace nomara
