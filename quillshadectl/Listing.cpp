#include "quillshadectl/Listing.h"

#include "quillshadectl/TerminalText.h"

#include <ostream>

namespace nomara::ctl {

void Listing::add(const std::string& name, const std::string& value) const {
    constexpr std::size_t nameWidth = 15;
    if (value.empty()) return;
    std::string padding(name.size() < nameWidth ? nameWidth - name.size() : 1, ' ');
    m_context.out << TerminalText::styled(name, TerminalText::Look::aside, m_context.colored) << padding
                  << TerminalText::singleLine(value) << '\n';
}

} // namespace nomara::ctl
