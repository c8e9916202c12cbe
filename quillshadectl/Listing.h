#pragma once

#include "quillshadectl/Commands.h"
#include "quillshadectl/FrameText.h"

#include <string>

namespace nomara::ctl {

/// Names and what they stand for, one pair a line, as "Title         Release notes".
class Listing {
public:
    explicit Listing(const Context& context) : m_context(context) {}

    /// Prints nothing for an empty value.
    void add(const std::string& name, const std::string& value) const;

private:
    const Context& m_context;
};

} // namespace nomara::ctl
