#include "platform/linux/libav/LibavPictureFiles.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "platform/linux/tesseract/TesseractRecognizer.h"
#include "quillshadectl/Media.h"

extern "C" const nomara::ctl::Media* quillshadectlMedia() {
    static nomara::LibavVideoCodec videos;
    static nomara::LibavPictureFiles pictures;
    static nomara::TesseractRecognizer recognizer;
    static const nomara::ctl::Media media{videos, pictures, recognizer};
    return &media;
}
