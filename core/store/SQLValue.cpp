#include "core/store/SQLValue.h"

namespace nomara {

std::string sqlPlaceholders(std::size_t count) {
    std::string list;
    list.reserve(count * 2);
    for (std::size_t i = 0; i < count; ++i)
        list += i == 0 ? "?" : ",?";
    return list;
}

} // namespace nomara
