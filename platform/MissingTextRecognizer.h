#pragma once

#include "platform/PlatformError.h"
#include "platform/TextRecognizer.h"

#include <utility>

namespace nomara {

/// Stands where no text of images can be read, and says why. Callable from any thread.
class MissingTextRecognizer final : public TextRecognizer {
public:
    /// `reason`: a sentence that tells what to do.
    explicit MissingTextRecognizer(std::string reason) : m_reason(std::move(reason)) {}

    std::vector<std::string> supportedLanguages() override { return {}; }
    std::string unavailableReason() override { return m_reason; }
    TextResult recognize(const TextRequest&) override { throw PlatformError(m_reason); }
    void setWorkers(int) override {}

private:
    const std::string m_reason;
};

} // namespace nomara
