#include "core/base/Paths.h"
#include "quillshadectl/Commands.h"
#include "quillshadectl/Fault.h"
#include "quillshadectl/Json.h"
#include "quillshadectl/Listing.h"
#include "quillshadectl/Memory.h"
#include "quillshadectl/TerminalText.h"
#include "quillshadectl/TimePoint.h"

#include <chrono>
#include <ostream>
#include <thread>

namespace nomara::ctl {

namespace {

constexpr std::chrono::milliseconds longestWait{2'000}, betweenLooks{100}; // for a picture

const char* words(TextSource source) {
    if (source.contains(TextSource::accessibility() | TextSource::ocr())) return "accessibility and text recognition";
    if (source.contains(TextSource::accessibility())) return "accessibility";
    return source.contains(TextSource::ocr()) ? "text recognition" : "none";
}

std::string words(ImageState state) {
    switch (state) {
    case ImageState::segment:
        return "in a video segment";
    case ImageState::dropped:
        return "removed";
    case ImageState::reserved:
    case ImageState::none:
        break;
    }
    return "none taken";
}

const char* name(ImageState state) {
    switch (state) {
    case ImageState::segment:
        return "segment";
    case ImageState::dropped:
        return "dropped";
    case ImageState::reserved:
    case ImageState::none:
        break;
    }
    return "none";
}

const char* name(OCRState state) {
    switch (state) {
    case OCRState::queued:
        return "queued";
    case OCRState::done:
        return "done";
    case OCRState::failed:
        return "failed";
    case OCRState::notNeeded:
        break;
    }
    return "notNeeded";
}

std::string applicationText(const FrameRecord& frame) {
    if (!frame.appName || frame.appName->empty()) return frame.appBundleID.value_or("");
    if (!frame.appBundleID) return *frame.appName;
    return *frame.appName + " (" + *frame.appBundleID + ")";
}

std::optional<std::string> imageFile(const Context& context) {
    if (!context.line.imageFile) return std::nullopt;
    return context.line.imageFile->string();
}

/// Reads the frame's picture out of its segment, waiting for it for a moment. Throws Fault or VideoError.
Image picture(const Context& context, const FrameRecord& frame) {
    const auto notThere = [&](const std::string& why) {
        return Fault("The picture of frame " + std::to_string(frame.id) + " can't be read: " + why);
    };
    const auto file = NomaraPaths::framesFile(*frame.segmentPath);
    // One that was just taken may still be on its way to the disk.
    for (int turn = 0; turn <= longestWait / betweenLooks; ++turn) {
        if (turn > 0) std::this_thread::sleep_for(betweenLooks);
        const auto input = context.media().videos.open(file);
        try {
            if (Image image = input->frame(*frame.segmentIndex, 0)) return image;
        } catch (const DamagedVideo&) {
            throw notThere("the file " + file.string() + " is damaged there.");
        }
    }
    throw notThere("it isn't in " + file.string() + " yet; try again in a moment.");
}

/// What its picture takes in the video: 0 without one, null where that can't be found out.
Json pictureBytes(const Context& context, const FrameRecord& frame) {
    if (frame.imageState != ImageState::segment || !frame.segmentPath || !frame.segmentIndex) return 0;
    try {
        const auto bytes =
            context.media().videos.open(NomaraPaths::framesFile(*frame.segmentPath))->frameBytes(*frame.segmentIndex);
        return bytes > 0 ? Json(bytes) : Json();
    } catch (const VideoError&) {
        return {};
    }
}

void printJson(const Context& context, const FrameRecord& frame, const std::string& text) {
    Json sources = Json::array();
    if (frame.textSource.contains(TextSource::accessibility())) sources.push_back("accessibility");
    if (frame.textSource.contains(TextSource::ocr())) sources.push_back("ocr");
    JsonText::printObject(context.out, {{"id", frame.id},
                                        {"timestamp", frame.timestamp.seconds},
                                        {"displayID", frame.displayID},
                                        {"appBundleID", JsonText::text(frame.appBundleID)},
                                        {"appName", JsonText::text(frame.appName)},
                                        {"windowTitle", JsonText::text(frame.windowTitle)},
                                        {"url", JsonText::text(frame.url)},
                                        {"project", JsonText::text(frame.project)},
                                        {"width", frame.width},
                                        {"height", frame.height},
                                        {"bytes", pictureBytes(context, frame)},
                                        {"imageState", name(frame.imageState)},
                                        {"imageFile", JsonText::text(imageFile(context))},
                                        {"ocrState", name(frame.ocrState)},
                                        {"textSource", sources},
                                        {"textCharacters", frame.textChars},
                                        {"text", JsonText::text(text)}});
}

void print(const Context& context, const FrameRecord& frame, const std::string& text) {
    Listing list(context);
    list.add("Frame", "#" + std::to_string(frame.id));
    list.add("Time", TimePoint::exact(frame.timestamp));
    list.add("Application", applicationText(frame));
    list.add("Title", frame.windowTitle.value_or(""));
    list.add("Address", frame.url.value_or(""));
    list.add("Project", frame.project.value_or(""));
    const auto file = imageFile(context);
    list.add("Picture", words(frame.imageState) + (file ? ", written to " + *file : std::string()));
    if (frame.width > 0 && frame.height > 0)
        list.add("Size", std::to_string(frame.width) + "×" + std::to_string(frame.height));
    list.add("Text", FrameText::grouped(frame.textChars) + " characters, from " + words(frame.textSource));
    if (text.empty()) return;
    context.out << '\n' << TerminalText::lines(text);
    if (text.back() != '\n') context.out << '\n';
}

} // namespace

int show(Context& context) {
    MemoryStore memory = openMemory(context.folder, context.clock);
    const auto frame = memory.frame(context.line.frame);
    if (!frame) {
        context.err << "There is no frame " << context.line.frame << ".\n";
        return ExitCode::nothing;
    }
    if (context.line.imageFile) {
        if (frame->imageState != ImageState::segment || !frame->segmentPath || !frame->segmentIndex) {
            context.err << "Frame " << frame->id << " has no picture.\n";
            return ExitCode::nothing;
        }
        try {
            context.media().pictures.writePng(*picture(context, *frame), *context.line.imageFile);
        } catch (const VideoError& error) {
            throw Fault(error.what());
        } catch (const PictureFileError& error) {
            throw Fault(error.what());
        }
    }
    const std::string text = memory.frameText(frame->id).value_or("");
    if (context.line.json)
        printJson(context, *frame, text);
    else
        print(context, *frame, text);
    return ExitCode::fine;
}

} // namespace nomara::ctl
