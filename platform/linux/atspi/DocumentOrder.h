#pragma once

#include "platform/linux/atspi/TextRules.h"

#include <cstdint>
#include <vector>

namespace nomara::atspi {

/// Nodes in the order in which answers brought them, parents before their children, made a tree in document order.
/// `places` are those among siblings, one for each node. All but the first that have no parent are left out, with what
/// is below them. Pure.
std::vector<TextNode> inDocumentOrder(std::vector<TextNode> nodes, const std::vector<std::int32_t>& places);

} // namespace nomara::atspi
