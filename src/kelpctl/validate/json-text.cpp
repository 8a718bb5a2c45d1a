#include "kelpctl/validate/json-text.h"

#include <glib.h>

#include <memory>

namespace KelpCtl {

std::string jsonText(const std::string &text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
    return valid.get();
}

} // namespace KelpCtl
