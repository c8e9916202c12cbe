// Remembers what the screen showed and when, and compares the pictures of video files with it. It takes commands from
// its input, one a line, and answers each with one line; see `answer`.

#include "platform/linux/libav/LibavVideoCodec.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>

using namespace nomara;

namespace {

// Somebody who looks later than that asks in vain.
constexpr double rememberSeconds = 60;

double wallClock() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

struct Free {
    void operator()(void* memory) const { std::free(memory); } // NOLINT: the server's answers come from malloc
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

struct Area {
    int x = 0, y = 0, width = 0, height = 0;
};

struct Colour {
    int red = 0, green = 0, blue = 0, tolerance = 0;

    bool isNear(const std::uint8_t* pixel) const {
        return std::abs(pixel[2] - red) <= tolerance && std::abs(pixel[1] - green) <= tolerance &&
               std::abs(pixel[0] - blue) <= tolerance;
    }
};

std::uint8_t luma(const std::uint8_t* pixel) {
    return std::uint8_t((18 * pixel[0] + 183 * pixel[1] + 55 * pixel[2] + 128) >> 8);
}

struct Screen {
    int width = 0, height = 0;
    std::vector<std::uint8_t> luma;
};

/// What was on the screen from one moment to another, as far as somebody saw who looked whenever something was painted.
struct Span {
    double from = 0, to = 0;
    std::shared_ptr<const Screen> screen;
};

class Display {
public:
    Display() : m_connection(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(m_connection) != 0) throw std::runtime_error("no display");
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        Reply<xcb_damage_query_version_reply_t>(
            xcb_damage_query_version_reply(m_connection, xcb_damage_query_version(m_connection, 1, 1), nullptr));
        xcb_damage_create(m_connection, xcb_generate_id(m_connection), m_root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
        xcb_flush(m_connection);
    }
    ~Display() { xcb_disconnect(m_connection); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    int descriptor() const { return xcb_get_file_descriptor(m_connection); }
    /// Whether something was painted since the last call.
    bool takeDamage() {
        bool painted = false;
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
            const auto type = event->response_type & 0x7F;
            if (type != xcb_get_extension_data(m_connection, &xcb_damage_id)->first_event + XCB_DAMAGE_NOTIFY) continue;
            painted = true;
            const auto* const notice = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
            xcb_damage_subtract(m_connection, notice->damage, XCB_NONE, XCB_NONE);
        }
        return painted;
    }
    /// Calls back with the pixels of the whole screen.
    void grab(const std::function<void(const std::uint8_t*, int, int)>& use) {
        const Reply<xcb_get_geometry_reply_t> root(
            xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, m_root), nullptr));
        if (!root) return;
        const Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(
            m_connection,
            xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, 0, 0, root->width, root->height, ~0U),
            nullptr));
        if (image) use(xcb_get_image_data(image.get()), root->width, root->height); // else it has just been resized
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
};

/// Looks at the screen on a thread of its own whenever something is painted.
class Witness {
public:
    Witness() : m_wake(eventfd(0, EFD_CLOEXEC)), m_thread([this] { run(); }) {}
    ~Witness() {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = write(m_wake, &one, sizeof one);
        m_thread.join();
        close(m_wake);
    }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    /// The screens that were seen between these moments, each once.
    std::vector<std::shared_ptr<const Screen>> seen(double from, double to) {
        const std::lock_guard lock(m_mutex);
        std::vector<std::shared_ptr<const Screen>> screens;
        for (const Span& span : m_spans)
            if (span.from <= to && span.to >= from && std::ranges::find(screens, span.screen) == screens.end())
                screens.push_back(span.screen);
        return screens;
    }

private:
    void run() {
        Display display;
        look(display);
        pollfd waiting[] = {{m_wake, POLLIN, 0}, {display.descriptor(), POLLIN, 0}};
        for (;;) {
            const bool hasLooked = display.takeDamage();
            if (hasLooked) {
                look(display);
            } else {
                const std::lock_guard lock(m_mutex);
                if (!m_spans.empty()) m_spans.back().to = wallClock();
            }
            poll(waiting, 2, hasLooked ? 0 : 100);
            if ((waiting[0].revents & POLLIN) != 0) return;
        }
    }
    void look(Display& display) {
        const double before = wallClock();
        display.grab([&](const std::uint8_t* pixels, int width, int height) {
            auto screen = std::make_shared<Screen>(Screen{width, height, {}});
            screen->luma.resize(std::size_t(width) * std::size_t(height));
            for (std::size_t i = 0; i < screen->luma.size(); ++i)
                screen->luma[i] = luma(pixels + i * 4);
            keep(std::move(screen), before);
        });
    }
    void keep(std::shared_ptr<const Screen> screen, double before) {
        const double now = wallClock();
        const std::lock_guard lock(m_mutex);
        while (!m_spans.empty() && m_spans.front().to < now - rememberSeconds)
            m_spans.pop_front();
        // A caret that blinks shows the same two screens again and again.
        for (const Span& span : m_spans) {
            if (span.screen->width != screen->width || span.screen->luma != screen->luma) continue;
            screen = span.screen;
            break;
        }
        if (!m_spans.empty()) m_spans.back().to = before;
        m_spans.push_back({before, now, std::move(screen)});
    }

    std::mutex m_mutex; // guards m_spans
    std::deque<Span> m_spans;
    int m_wake;
    std::thread m_thread;
};

double lumaPSNR(const PixelBuffer& picture, const Screen& screen, int left, int top) {
    if (left < 0 || top < 0 || left + picture.width > screen.width || top + picture.height > screen.height) return 0;
    double sum = 0;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* const pixels = picture.row(y);
        const std::uint8_t* const expected =
            screen.luma.data() + std::size_t(top + y) * std::size_t(screen.width) + std::size_t(left);
        for (int x = 0; x < picture.width; ++x) {
            const int difference = luma(pixels + std::size_t(x) * 4) - expected[x];
            sum += difference * difference;
        }
    }
    const double mean = sum / (double(picture.width) * picture.height);
    return mean == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mean);
}

class Commands {
public:
    /// What a line asks for; the words of the answer.
    std::string answer(const std::string& line) {
        std::istringstream words(line);
        std::string command, file;
        words >> command;
        std::ostringstream out;
        if (command == "screen") { // COLOUR TOLERANCE: how many pixels of the screen are like it now
            const Colour colour = readColour(words);
            long count = 0;
            m_display.grab([&](const std::uint8_t* pixels, int width, int height) {
                for (long i = 0; i < long(width) * height; ++i)
                    count += colour.isNear(pixels + i * 4) ? 1 : 0;
            });
            out << count;
            return out.str();
        }
        words >> std::quoted(file);
        const auto input = m_codec.open(file);
        if (command ==
            "readable") { // FILE: how many pictures it announces, and the indices of those that can't be read
            out << input->frameCount();
            for (std::int64_t i = 0; i < input->frameCount(); ++i)
                if (!input->frame(i, 0)) out << ' ' << i;
        } else if (command == "colour") { // FILE COLOUR TOLERANCE: how many pixels of each picture are like it
            const Colour colour = readColour(words);
            for (std::int64_t i = 0; i < input->frameCount(); ++i) {
                const Image image = input->frame(i, 0);
                out << (image ? count(*image, {0, 0, image->width, image->height}, colour) : -1) << ' ';
            }
        } else if (command == "part") { // FILE INDEX X Y WIDTH HEIGHT COLOUR TOLERANCE: the share that is like it
            std::int64_t index = 0;
            Area area;
            words >> index >> area.x >> area.y >> area.width >> area.height;
            const Colour colour = readColour(words);
            const Image image = input->frame(index, 0);
            if (!image) throw std::runtime_error("no such picture");
            out << double(count(*image, area, colour)) / (double(area.width) * area.height);
        } else if (command == "match") { // FILE INDEX X Y FROM TO: the best PSNR, and how many screens there were
            std::int64_t index = 0;
            int x = 0, y = 0;
            double from = 0, to = 0;
            words >> index >> x >> y >> from >> to;
            const Image image = input->frame(index, 0);
            if (!image) throw std::runtime_error("no such picture");
            const auto screens = m_witness.seen(from, to);
            double best = 0;
            for (const auto& screen : screens)
                best = std::max(best, lumaPSNR(*image, *screen, x, y));
            out << best << ' ' << screens.size();
        } else {
            throw std::runtime_error("unknown command");
        }
        return out.str();
    }

private:
    static Colour readColour(std::istringstream& words) {
        std::string text;
        Colour colour;
        words >> text >> colour.tolerance;
        const int value = std::stoi(text, nullptr, 16);
        colour.red = value >> 16 & 255;
        colour.green = value >> 8 & 255;
        colour.blue = value & 255;
        return colour;
    }
    static long count(const PixelBuffer& image, const Area& area, const Colour& colour) {
        long found = 0;
        for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, image.height); ++y)
            for (int x = std::max(area.x, 0); x < std::min(area.x + area.width, image.width); ++x)
                found += colour.isNear(image.row(y) + std::size_t(x) * 4) ? 1 : 0;
        return found;
    }

    LibavVideoCodec m_codec;
    Display m_display;
    Witness m_witness;
};

} // namespace

int main() {
    Commands commands;
    for (std::string line; std::getline(std::cin, line);) {
        try {
            std::cout << commands.answer(line) << std::endl;
        } catch (const std::exception& error) {
            std::cout << "error: " << error.what() << std::endl;
        }
    }
    return 0;
}
