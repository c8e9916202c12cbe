#pragma once

#include <stdexcept>

namespace nomara {

/// A platform service could not start. The text is a sentence for the user.
class PlatformError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace nomara
