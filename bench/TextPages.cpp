#include "bench/TextPages.h"

#include "platform/linux/libav/LibavPictureFiles.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>

namespace nomara::bench {

namespace {

constexpr const char* vocabulary[] = {
    "quarterly", "review",  "budget", "open",     "questions", "about",  "the",      "warehouse", "lease",  "before",
    "Thursday",  "travel",  "and",    "revised",  "message",   "return", "expected", "delivery",  "12:45",  "invoice",
    "museum",    "harbour", "with",   "nautical", "charts",    "drawn",  "on",       "goatskin",  "7,250",  "settings",
    "network",   "dialog",  "resume", "download", "progress",  "stays",  "although", "socket",    "lib/io", "connected",
};

/// Columns of sentences, as large and as dark as asked for.
TextPage drawn(const char* name, const char* family, int pixels, int columns, QRgb paper, QRgb ink) {
    QImage page(1'920, 1'080, QImage::Format_RGB32);
    page.fill(paper);
    QFont font{QString::fromLatin1(family)};
    font.setPixelSize(pixels);
    QPainter painter(&page);
    painter.setFont(font);
    painter.setPen(QColor(ink));
    const QFontMetrics metrics(font);
    TextPage result{.name = name, .image = nullptr, .text = {}, .languages = {"en-US"}, .data = "eng"};
    std::minstd_rand random(static_cast<unsigned>(pixels) * 31 + static_cast<unsigned>(columns));
    const int width = 1'920 / columns;
    for (int column = 0; column < columns; ++column)
        for (int y = 2 * pixels; y < 1'080 - pixels; y += metrics.lineSpacing()) {
            QString line;
            for (;;) {
                const QString word = QString::fromLatin1(vocabulary[random() % std::size(vocabulary)]);
                if (metrics.horizontalAdvance(line + word) > width - 5 * pixels) break;
                line += word + QLatin1Char(' ');
            }
            painter.drawText(column * width + 2 * pixels, y, line);
            result.text += line.toStdString() + "\n";
        }
    painter.end();
    auto image = std::make_shared<PixelBuffer>(page.width(), page.height());
    for (int y = 0; y < page.height(); ++y)
        std::memcpy(image->row(y), page.constScanLine(y), image->stride);
    result.image = image;
    return result;
}

std::vector<TextPage> drawnPages() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 1;
    char program[] = "OcrBench";
    char* arguments[] = {program, nullptr};
    const QGuiApplication application(count, arguments);
    return {drawn("prose", "DejaVu Sans", 16, 2, 0xFFFFFFFF, 0xFF202020),
            drawn("small", "Liberation Sans", 12, 3, 0xFFFFFFFF, 0xFF303030),
            drawn("terminal", "DejaVu Sans Mono", 12, 1, 0xFF300A24, 0xFFE8E8E8),
            drawn("interface", "DejaVu Sans", 14, 5, 0xFF303030, 0xFFEEEEEE)};
}

} // namespace

std::vector<TextPage> textPages(const std::filesystem::path& folder) {
    if (folder.empty()) return drawnPages();
    std::vector<TextPage> pages;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::filesystem::path picture = entry.path();
        std::ifstream text(std::filesystem::path(picture).replace_extension("txt"));
        if (picture.extension() != ".png" || !text) continue;
        std::stringstream whole;
        whole << text.rdbuf();
        const bool isTurkish = picture.stem().string().find("turkish") != std::string::npos;
        TextPage page{.name = picture.stem(),
                      .image = LibavPictureFiles().read(picture),
                      .text = whole.str(),
                      .languages = {"en-US"},
                      .data = isTurkish ? "tur+eng" : "eng"};
        if (isTurkish) page.languages.insert(page.languages.begin(), "tr-TR");
        pages.push_back(std::move(page));
    }
    if (pages.empty()) {
        std::fprintf(stderr, "%s holds no picture with a text beside it\n", folder.c_str());
        std::exit(2);
    }
    std::ranges::sort(pages, {}, &TextPage::name);
    return pages;
}

Words words(const std::string& text) {
    Words words;
    std::string word;
    // A count of characters, not of bytes: those that begin one.
    const auto add = [&] {
        const auto characters = std::ranges::count_if(word, [](char c) { return (c & 0xC0) != 0x80; });
        if (characters >= 2) ++words[word];
        word.clear();
    };
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 128 || std::isalnum(byte) != 0)
            word += byte < 128 ? static_cast<char>(std::tolower(byte)) : c;
        else
            add();
    }
    add();
    return words;
}

void Agreement::add(const Words& wantedWords, const Words& foundWords) {
    for (const auto& [word, count] : wantedWords) {
        wanted += count;
        const auto same = foundWords.find(word);
        if (same != foundWords.end()) both += std::min(count, same->second);
    }
    for (const auto& [word, count] : foundWords)
        found += count;
}

} // namespace nomara::bench
