#include "kelpctl/see/json-text.h"

#include <glib.h>

#include <memory>

namespace KelpCtl {

/// A NUL, too, belongs to no character for GLib when the size is given, and cannot end the text early.
std::string jsonText(std::string_view text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
    return valid.get();
}

} // namespace KelpCtl
