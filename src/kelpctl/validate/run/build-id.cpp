#include "kelpctl/validate/run/build-id.h"

#include <link.h>

#include <bit>
#include <cstring>
#include <string_view>

namespace KelpCtl {

namespace {

constexpr std::size_t alignment = 4;

std::size_t aligned(std::size_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

std::string digitsOf(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        (text += digits[value >> 4U]) += digits[value & 0xfU];
    }
    return text;
}

/// The linker's note among others; empty if it is missing.
std::string idAmong(std::string_view notes) {
    ElfW(Nhdr) note{};
    while (notes.size() >= sizeof note) {
        std::memcpy(&note, notes.data(), sizeof note);
        const std::size_t content = sizeof note + aligned(note.n_namesz);
        const std::size_t end = content + aligned(note.n_descsz);
        if (end > notes.size())
            break;
        if (note.n_type == NT_GNU_BUILD_ID && notes.substr(sizeof note, 3) == "GNU")
            return digitsOf(notes.substr(content, note.n_descsz));
        notes.remove_prefix(end);
    }
    return {};
}

/// The program itself comes first.
int findId(dl_phdr_info *object, std::size_t, void *result) {
    for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr) &part = object->dlpi_phdr[i];
        auto &id = *static_cast<std::string *>(result);
        if (part.p_type == PT_NOTE && id.empty())
            id = idAmong({std::bit_cast<const char *>(object->dlpi_addr + part.p_vaddr), part.p_memsz});
    }
    return 1;
}

} // namespace

std::string buildId() {
    std::string id;
    ::dl_iterate_phdr(findId, &id);
    return id;
}

} // namespace KelpCtl
