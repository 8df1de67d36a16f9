#include "platform/legacy/Trim.h"

namespace korvel {

namespace {

bool IsBlank(char c) {
    return static_cast<unsigned char>(c) <= 0x20;
}

} // namespace

std::string TrimLeftText(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    return std::string(text);
}

std::string TrimRightText(std::string_view text) {
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return std::string(text);
}

std::string TrimText(std::string_view text) {
    return TrimLeftText(TrimRightText(text));
}

} // namespace korvel
