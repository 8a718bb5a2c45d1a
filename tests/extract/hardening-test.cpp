#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include "rpm-writer.h"
#include "support/temporary-directory.h"

#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>

using namespace Validator;
namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

constexpr std::uint16_t directoryMode = 0040755;
constexpr std::uint16_t linkMode = 0120777;
constexpr std::int32_t provides = 1047, requirements = 1049;
const std::string ownShare = "/usr/share/org.example.app/";
const std::string applications = "/usr/share/applications/";

/// A package with what it adds, by their ids, to the findings on one without files or with an empty desktop
/// file. Nothing for the honest neighbour of the row before.
struct Row {
    RpmWriter package;
    std::string added;
    Profile profile = Profile::Regular;
    bool isStrict = true;
};

RpmWriter withDesktopFile(const std::string &lines) {
    return {.files = {{applications, "org.example.app.desktop", 0100644, "[Desktop Entry]\n" + lines}}};
}

RpmWriter withIntegrityFile(const std::string &text) {
    return {.files = {{"/etc/integrityd/config.d/", "org.example.app.json", 0100644, text}}};
}

class HardeningTest : public testing::Test {
protected:
    /// The ids of all findings, in the order of the report, each once.
    std::vector<std::string> idsOf(const RpmWriter &writer, Profile profile, bool isStrict = true) {
        const fs::path package = root_.path() / "package.rpm";
        std::vector<std::string> ids;
        const auto note = [&](const Message &message) {
            if (std::ranges::find(ids, message.entry.id) == ids.end())
                ids.emplace_back(message.entry.id);
        };
        writer.write(package);
        fs::remove_all(root_.path() / "staging");
        const auto config = std::make_shared<Config>(profile, Target{isStrict, "5.0"});
        Core::KELP::RpmPackage::fromFile(package, {})
            .validate(root_.path() / "staging", {{config, note, note}}, {});
        return ids;
    }

    void expect(const std::vector<Row> &rows) {
        for (const Row &row : rows) {
            std::vector<std::string> &plain = plain_[row.profile];
            if (plain.empty())
                for (const RpmWriter &package : {RpmWriter(), withDesktopFile("")})
                    std::ranges::copy(idsOf(package, row.profile), std::back_inserter(plain));
            std::string added;
            for (const std::string &id : idsOf(row.package, row.profile, row.isStrict))
                if (std::ranges::find(plain, id) == plain.end())
                    added += (added.empty() ? "" : " ") + id;
            EXPECT_EQ(added, row.added) << &row - rows.data();
        }
    }

    TemporaryRoot root_;
    std::map<Profile, std::vector<std::string>> plain_;
};

TEST_F(HardeningTest, FindsInTheFileListWhatNoHonestPackageHas) {
    std::string deep;
    for (int i = 0; i < 60; ++i)
        deep += "d/";
    // Not unpacked, so that nobody finds that the first cannot be there.
    std::vector<WrittenFile> scattered{{"/opt/", "a"}};
    for (int i = 0; i < 20; ++i)
        scattered.push_back({ownShare + std::to_string(i) + '/' + deep.substr(i < 19 ? 20 : 66), "a"});
    const std::string desktop = "org.example.app.desktop", json = "org.example.app.json",
                      daemon = "/etc/integrityd/config.d/";
    expect({
        {{.files = {{ownShare, "a", 0100611}}}, "mode-half-executable"},
        {{.files = {{applications, desktop + ".desktop"}}}, "desktop-file-second"},
        {{.files = {{applications, desktop, directoryMode}}},
         "directory-empty desktop-file-second desktop-file-broken"},
        {{.files = {{applications, desktop, linkMode, ownShare + "a"}, {ownShare, "a"}}},
         "link-exclusive-paths desktop-file-second desktop-file-broken"},
        {{.files = {{applications, desktop}}}, "desktop-file-broken"},
        {{.files = {{daemon, json + "x", 0100644, "{}"}}}, "integrity-file-second"},
        {{.files = {{daemon, json, 0100644, "{}"}}}, ""},
        {{.files = {{ownShare, "a\nb"}}}, "path-impossible"},
        {{.files = {{ownShare, "a\xff"}}}, "path-impossible"},
        {{.files = {{ownShare, ""}}}, "path-impossible"},
        {{.files = {{ownShare, "a", linkMode, "b\x7f"}, {ownShare, "b\x7f"}}},
         "link-exclusive-paths path-impossible"},
        {{.files = {{ownShare, "a\u00e9 \u202e"}}}, ""},
        {{.files = {{ownShare + deep + "a/", "a"}}}, "directories-too-many"},
        {{.files = {{ownShare + deep, "a"}}}, ""},
        {{.files = scattered}, "directories-too-many"},
        {{.files = {{ownShare, "a", 0100644, "", 0, 0, "root", "cap_net_raw=ep"}}}, "file-capabilities"},
        {{.files = {{ownShare, "a", 0100644, "", 0, 0, "root", "cap_net_raw=ep"}}},
         "file-capabilities-tolerated",
         Profile::Extended},
        {{.files = {{ownShare, "a", 0100644, "", 0, 0, "root", "="}}}, ""},
        {{.files = {{"/usr/bin/", "d", directoryMode, "", 0, 0, "nobody"}}},
         "directory-empty owner-not-root-directory"},
        {{.files = {{ownShare, "d", directoryMode, "", 0, 0, "nobody"}}},
         "directory-empty owner-not-root-own-directory"},
        {{.files = {{ownShare, "d", 0042755}}}, "directory-empty special-mode-bits-directory"},
        {{.files = {{"/usr/libexec/", "org.example.app"}}}, "file-in-place-of-directory"},
        {{.files = {{"/usr/share/common/", "org"}, {"/usr/share/icons/hicolor/86x86/", "apps"}}},
         "file-in-place-of-directory"},
        {{.files = {{"/usr/bin/", "org.example.other"}}}, "name-of-another"},
        {{.files = {{"/usr/bin/", "org.example.app.task"},
                    {"/usr/share/icons/hicolor/1x1/", "org.other.png"}}},
         ""},
    });
}

TEST_F(HardeningTest, FindsInTheWordsOfAHeaderWhatNoHonestPackageHas) {
    std::vector<Row> rows{
        {{.version = "1 2"}, "version-unusable"},
        {{.version = "1..2"}, "version-unusable"},
        {{.version = std::string(126, '1')}, ""},
        {{.version = std::string(127, '1')}, "version-long"},
        {{.version = "1.2_3+4~5^6%{7}"}, ""},
        {{.lists = {{provides, {"mimehandler(application/X-RPM)"}}}}, "desktop-mime-type-forbidden"},
        {{.lists = {{provides, {"mimehandler(application/x-redhat-package-manager)"}}}},
         "desktop-mime-type-forbidden"},
        {{.lists = {{provides, {"mimehandler(application/x-rpm-list)"}}}}, ""},
    };
    for (const char *dependency :
         {"bash/", "librtld.so", "rpmlib", "rtld(X)(64bit)", "rpmlib(X) x", "a/b(c)", "(/"})
        rows.push_back({{.lists = {{requirements, {dependency}}}},
                        dependency[0] == '(' ? "dependency-not-allowed" : "dependency-disguised"});
    rows.push_back({{.lists = {{requirements, {"golang(host/x)"}}}}, "dependency-with-slash"});
    rows.push_back(
        {{.lists = {{requirements, {"rpmlib(PayloadIsXz)", "rtld(GNU_HASH)", "/usr/bin/env"}}}}, ""});
    for (const std::int32_t tag : {1065, 1066, 1079, 1091, 1092, 5066, 5067, 5069, 5076, 5077, 5079, 5103,
                                   5104, 5105, 5106, 5107, 5108})
        rows.push_back({{.lists = {{tag, {"x"}}}}, "scripts-other"});
    expect(rows);
}

TEST_F(HardeningTest, FindsInFilesWhatTheirReadersDoNotAgreeOn) {
    std::vector<Row> rows{
        {withDesktopFile("# \x01\r\nA=\tb\r\n"), ""},
        {withDesktopFile("Name=A\u202eB\u202cC\u2067D\u202aE\u2069\n"), "desktop-direction"},
        {withDesktopFile("Name[ckb]=\u202aA\u202bB\n"), "desktop-direction"},
        {withDesktopFile("Name=A\xff\n"), ""},
        {withDesktopFile("Comment[he]=\u200f\u061c\u05d0"), ""},
        {withIntegrityFile(R"({"watch": []} /* {} */)"), ""},
        {withIntegrityFile(R"({"a": {"watch": 1}, "watch": []})"), ""},
        {{.files = {{ownShare, "a", linkMode, "/outside"}}}, "link-exclusive-paths link-target-not-allowed"},
        {{.files = {{ownShare, "a", linkMode, "/outside"}}},
         "link-exclusive-paths link-target-not-allowed link-to-nothing",
         Profile::Regular,
         false},
    };
    for (const std::string &line : {"A=b\rExec=c"s, "A=\0"s, "A=\x1b[m"s, "A=\x7f"s, "A=\u009b"s,
                                    "A=\u2028b"s, "A=b\r"s, "A=\xe2\x1b[m"s, "#\rExec=c"s})
        rows.push_back({withDesktopFile(line), "desktop-bytes"});
    for (const char *open :
         {"\u202d", "\u2068\u2066\u2069", "\u202c", "\u202b\u2069", "\u2067\u202e\u2069", "\xe2\u202e"})
        rows.push_back({withDesktopFile("Comment=" + std::string(open) + "A\n"), "desktop-bytes"});
    for (const char *type : {"application/x-rpm", "text/plain; Application/X-Rpm\\s;",
                             "application/x-redhat-package-manager", "application/x-\\rpm\\"})
        for (const std::string &key : {"MimeType="s, "MimeType[de]="s})
            for (const Profile profile : {Profile::Regular, Profile::Market})
                rows.push_back({withDesktopFile(key + type), "desktop-mime-type-forbidden", profile});
    for (const char *text :
         {R"({"watch": [], "w\u0061tch": []})", R"({"watch": []} {})", R"(var a = {}; var b = {};)"})
        rows.push_back({withIntegrityFile(text), "integrity-file-ambiguous"});
    expect(rows);
}

/// An ELF file of 64 bits: the program headers, the texts that they name, and a dynamic table, with or
/// without a section that shows it.
struct ElfFile {
    static constexpr std::uint64_t texts = 0x1000, table = 0x2000, size = 0x4000, withHeaders = 0x5000;

    std::vector<Elf64_Phdr> segments = {};
    std::vector<Elf64_Dyn> entries = {{DT_NEEDED, {1}}, {DT_STRTAB, {texts}}};
    bool hasSection = false;
    Elf64_Ehdr header = {{'\x7f', 'E', 'L', 'F', ELFCLASS64, ELFDATA2LSB, EV_CURRENT},
                         ET_DYN,
                         EM_X86_64,
                         EV_CURRENT,
                         0,
                         size,
                         0,
                         0,
                         64,
                         56,
                         0,
                         64,
                         0,
                         0};

    operator std::string() const {
        // At 1 an allowed library, at 11 one that nobody knows, at 19 the loader, at 47 another, at 55 an
        // rpath, at 71 a word, at 76 somebody else's place.
        const std::string text =
            "\0libc.so.6\0evil.so\0/lib64/ld-linux-x86-64.so.2\0/tmp/ld\0$ORIGIN/../../x\0word\0/usr/lib/3rdparty/x\0"s;
        std::string file(size, '\0');
        Elf64_Ehdr head = header;
        head.e_phnum = static_cast<Elf64_Half>(segments.size());
        const Elf64_Shdr sections[] = {
            {},
            {0, SHT_DYNAMIC, 0, 0, table, entries.size() * sizeof(Elf64_Dyn), 2, 0, 8, sizeof(Elf64_Dyn)},
            {0, SHT_STRTAB, 0, 0, texts, text.size(), 0, 0, 1, 0}};
        if (hasSection) {
            head.e_shoff = 0x3000;
            head.e_shnum = std::size(sections);
            std::memcpy(&file[head.e_shoff], sections, sizeof sections);
        }
        std::memcpy(file.data(), &head, sizeof head);
        file.replace(texts, text.size(), text);
        std::memcpy(&file[table], entries.data(), entries.size() * sizeof(Elf64_Dyn));
        for (const Elf64_Phdr &segment : segments)
            file.append(reinterpret_cast<const char *>(&segment), sizeof segment);
        file.resize(std::max<std::size_t>(file.size(), withHeaders));
        return file;
    }
};

Elf64_Phdr segment(std::uint32_t type, std::uint64_t offset, std::uint64_t address, std::uint64_t fileSize,
                   std::uint64_t memorySize, std::uint32_t flags = PF_R | PF_W) {
    return {type, flags, offset, address, address, fileSize, memorySize, 8};
}

Elf64_Phdr load(std::uint64_t offset, std::uint64_t size) {
    return segment(PT_LOAD, offset, offset, size, size);
}

Elf64_Phdr dynamic(std::uint64_t address, std::uint64_t offset = ElfFile::table) {
    return segment(PT_DYNAMIC, offset, address, 0x100, 0x100);
}

TEST_F(HardeningTest, ReadsOfElfFilesWhatTheLoaderReads) {
    constexpr auto texts = ElfFile::texts, table = ElfFile::table, size = ElfFile::size;
    const std::vector<Elf64_Dyn> evil = {{DT_NEEDED, {11}}, {DT_STRTAB, {texts}}};
    const std::string elsewhere = "library-not-allowed-elsewhere", hidden = "elf-hidden-dynamic";
    const std::pair<ElfFile, std::string> rows[] = {
        {{{load(0, size), dynamic(table)}}, ""},
        {{{load(0, size), dynamic(table)}, evil}, elsewhere + ' ' + hidden},
        {{{load(0, size), dynamic(table)}, evil, true}, elsewhere},
        {{{segment(PT_LOAD, texts, 0x5000, 0x2000, 0x2000), dynamic(0x6000, 0)},
          {{DT_NEEDED, {11}}, {DT_STRTAB, {0x5000}}}},
         elsewhere + ' ' + hidden},
        {{{load(0, size), dynamic(0), dynamic(table)}, evil}, elsewhere + ' ' + hidden},
        {{{load(0, size), dynamic(table)},
          {{DT_NEEDED, {1}}, {DT_STRTAB, {texts}}, {DT_STRTAB, {texts + 10}}}},
         elsewhere + ' ' + hidden},
        {{{load(0, size), load(0x2800, 0x100), dynamic(table)}}, hidden},
        {{{load(0, table), load(table, 0x100), dynamic(table)}}, ""},
        {{{load(0, 0x1800), dynamic(table)}}, hidden},
        {{{load(0, table), load(table, 0x80), dynamic(table + 0x90)}}, hidden},
        {{{load(0, table), segment(PT_LOAD, table, table, 0x80, 0x1000), dynamic(table + 0x90)}}, ""},
        {{{load(0, table), segment(PT_LOAD, table, table, 0x80, 0x1000, PF_R), dynamic(table + 0x90)}},
         hidden},
        {{{load(0, table), segment(PT_LOAD, size, table, 0, 0x1000, PF_R), dynamic(table)}}, ""},
        {{{load(0, size), dynamic(table)}, {{DT_AUDIT, {1}}}}, "elf-loader-hook"},
        {{{load(0, size), dynamic(table)}, {{DT_FILTER, {1}}}}, "elf-loader-hook"},
        {{{load(0, size), dynamic(table)}, {{DT_AUXILIARY, {11}}, {DT_STRTAB, {texts}}}}, "elf-loader-hook"},
        {{{load(0, size), dynamic(table)}, {{DT_AUXILIARY, {71}}, {DT_STRTAB, {texts}}}}, "elf-auxiliary"},
        {{{load(0, size), dynamic(table)}, {{DT_NEEDED, {47}}, {DT_STRTAB, {texts}}}},
         "library-by-path " + hidden},
        {{{load(0, size), dynamic(table)}, {{DT_RPATH, {55}}, {DT_RPATH, {19}}, {DT_STRTAB, {texts}}}},
         "rpath-twice rpath-leaves"},
        {{{load(0, size), dynamic(table)}, {{DT_RUNPATH, {19}}, {DT_STRTAB, {texts}}}}, ""},
        {{{load(0, size), dynamic(table)}, {{DT_RUNPATH, {76}}, {DT_STRTAB, {texts}}}}, "rpath-leaves"},
        // A page of the file in front of a segment without any.
        {{{load(0, table), segment(PT_LOAD, table + 0xf00, table + 0xf00, 0, 8), dynamic(table)}}, hidden},
    };
    std::vector<Row> packages;
    for (const auto &[file, added] : rows)
        packages.push_back({{.files = {{ownShare + "lib/", "a.so", 0100644, file}}}, added});
    ElfFile other = rows[0].first;
    other.header.e_machine = EM_MIPS;
    packages.push_back({{.files = {{ownShare + "lib/", "a.so", 0100644, other}}}, "elf-foreign-machine"});
    packages.push_back({{.files = {{ownShare, "data", 0100644, rows[1].first}}}, elsewhere});
    // An rpath that leaves behind its 4096th byte.
    const ElfFile far{{load(0, size), dynamic(table)}, {{DT_RUNPATH, {0x1800}}, {DT_STRTAB, {texts}}}};
    packages.push_back(
        {{.files = {{ownShare + "lib/", "a.so", 0100644,
                     std::string(far).replace(0x2800, 5000, std::string(4995, '/') + ":/tmp")}}},
         "rpath-leaves"});
    for (const auto &[content, added] : {std::pair("text"s, "library-shipped-not-elf"), {rows[0].first, ""}})
        packages.push_back({{.files = {{ownShare + "lib/", "a.so", 0100644, rows[1].first},
                                       {ownShare + "lib/", "evil.so", 0100644, content}}},
                            added});
    expect(packages);
}

/// One of 32 bits: its header, and the segment that loads it.
std::string armProgram(std::uint32_t flags, std::uint32_t entry) {
    const std::uint32_t words[] = {0x464c457f,    0x00010101, 0,  0,       ET_EXEC | EM_ARM << 16,
                                   EV_CURRENT,    entry,      52, 0,       flags,
                                   52 | 32 << 16, 1,          0,  PT_LOAD, 0,
                                   0x10000,       0x10000,    52, 52,      PF_R | PF_X,
                                   0x1000};
    return {reinterpret_cast<const char *>(words), sizeof words};
}

TEST_F(HardeningTest, TakesForProgramsWhatTheKernelRuns) {
    constexpr auto texts = ElfFile::texts;
    const auto loader = [](std::uint64_t place, std::uint64_t length) {
        return segment(PT_INTERP, texts + place, 0, length, length);
    };
    const Elf64_Phdr all = load(0, ElfFile::withHeaders);
    const ElfFile sound{{all, loader(19, 28)}};
    const auto with = [&](Elf64_Half Elf64_Ehdr::*field, Elf64_Half value) {
        ElfFile file = sound;
        file.header.*field = value;
        return file;
    };
    ElfFile narrow = sound, far = sound;
    narrow.header.e_ident[EI_CLASS] = ELFCLASS32;
    far.header.e_phoff = ElfFile::size + 1;
    const std::pair<ElfFile, std::string> rows[] = {
        {sound, ""},
        {with(&Elf64_Ehdr::e_type, ET_REL), "elf-not-a-program"},
        {with(&Elf64_Ehdr::e_phentsize, 57), "elf-not-a-program"},
        {with(&Elf64_Ehdr::e_machine, EM_AARCH64), "elf-not-a-program elf-interpreter"},
        {narrow, "elf-not-a-program"},
        {far, "elf-not-a-program"},
        {{{}}, "elf-not-a-program"},
        {{std::vector(73, load(0, ElfFile::size))}, ""},
        {{std::vector(74, load(0, ElfFile::size))}, "elf-not-a-program"},
        {{{load(ElfFile::withHeaders, 0x1000)}}, "elf-not-a-program"},
        {{{all, loader(19, 27)}}, "elf-not-a-program"},
        {{{all, loader(0, 1)}}, "elf-not-a-program"},
        {{{all, loader(47, 8)}}, "elf-interpreter"},
        // The loader finds its table by what it finds of these headers in memory.
        {{{all, loader(19, 28), segment(PT_PHDR, 0, ElfFile::size, 0, 0)}}, ""},
        {{{all, loader(19, 28), segment(PT_PHDR, 0, ElfFile::size - 0x800, 0, 0)}}, "elf-hidden-dynamic"},
        {{{all, loader(19, 28), load(ElfFile::size, 1)}}, "elf-hidden-dynamic"},
        {{{segment(PT_LOAD, 0, 0x8000, 1, 1), all, loader(19, 28)}}, "elf-hidden-dynamic"},
    };
    std::vector<Row> packages;
    const auto add = [&](const std::string &architecture, const std::string &file, const char *added) {
        packages.push_back({{.architecture = architecture,
                             .files = {{"/usr/libexec/org.example.app/", "tool", 0100755, file}}},
                            added});
    };
    for (const auto &[file, added] : rows)
        add("x86_64", file, added.c_str());
    add("armv7hl", armProgram(EF_ARM_EABI_VER5, 0x10001), "");
    add("armv7hl", armProgram(EF_ARM_EABI_VER5, 0x10002), "elf-not-a-program");
    add("aarch64", armProgram(0, 0x10001), "elf-not-a-program");
    ElfFile noted{{all, segment(PT_GNU_PROPERTY, 0x800, 0x800, 32, 32)}};
    noted.header.e_machine = EM_AARCH64;
    add("aarch64", noted, "elf-not-a-program");
    add("aarch64",
        std::string(noted).replace(0x800, 32,
                                   "\4\0\0\0\20\0\0\0\5\0\0\0GNU\0\0\0\0\xc0\4\0\0\0\3\0\0\0\0\0\0\0"s),
        "");
    expect(packages);
}

} // namespace
