#include "platform/linux/atspi/DocumentOrder.h"

#include <algorithm>
#include <utility>

namespace nomara::atspi {

std::vector<TextNode> inDocumentOrder(std::vector<TextNode> nodes, const std::vector<std::int32_t>& places) {
    if (nodes.empty()) return nodes;
    std::vector<std::vector<std::size_t>> children(nodes.size());
    for (std::size_t i = 1; i < nodes.size(); ++i)
        if (nodes[i].parent >= 0) children[static_cast<std::size_t>(nodes[i].parent)].push_back(i);
    for (auto& siblings : children)
        std::stable_sort(siblings.begin(), siblings.end(),
                         [&](std::size_t a, std::size_t b) { return places[a] < places[b]; });
    std::vector<TextNode> ordered;
    ordered.reserve(nodes.size());
    std::vector<std::pair<std::size_t, int>> stack{{0, -1}};
    while (!stack.empty()) {
        const auto [index, parent] = stack.back();
        stack.pop_back();
        const int place = static_cast<int>(ordered.size());
        ordered.push_back(std::move(nodes[index]));
        ordered.back().parent = parent;
        for (auto child = children[index].rbegin(); child != children[index].rend(); ++child)
            stack.emplace_back(*child, place);
    }
    return ordered;
}

} // namespace nomara::atspi
