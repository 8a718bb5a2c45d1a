// Measures the verification of a version against one thread that only reads the same files and computes their
// digests, by the same library. Also measures that library against others. Prints the tables of
// docs/benchmarks.md.

#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/inspection/contents-check.h"

#ifdef KELP_BENCH_LIBCRYPTO
#include <openssl/evp.h>
#endif
#ifdef KELP_BENCH_LIBGCRYPT
#include <gcrypt.h>
#endif
#ifdef KELP_BENCH_NETTLE
#include <nettle/sha2.h>
#endif

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>

namespace fs = std::filesystem;

namespace {

using Core::KELP::ContentsCheck;
using Core::KELP::ContentsEntry;
using Core::KELP::ContentsList;

constexpr int repeats = 7;
constexpr std::size_t pieceSize = 64U << 10;

struct Cost {
    double wall;
    double processor; ///< What others do meanwhile has less of a say in it.
};

Cost costOf(const std::function<void()> &work) {
    const std::clock_t before = std::clock();
    const auto start = std::chrono::steady_clock::now();
    work();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC};
}

Cost median(const std::vector<Cost> &costs) {
    const auto of = [&](double Cost::*seconds) {
        std::vector<double> all;
        for (const Cost &cost : costs)
            all.push_back(cost.*seconds);
        std::ranges::sort(all);
        return all.at(all.size() / 2);
    };
    return {of(&Cost::wall), of(&Cost::processor)};
}

void makeTree(const fs::path &tree, int count, std::size_t size) {
    std::string content(size, 'x');
    for (int i = 0; i < count; ++i) {
        const fs::path directory = tree / std::to_string(i % 100);
        fs::create_directories(directory);
        content.replace(0, 8, std::to_string(10000000 + i));
        std::ofstream(directory / std::to_string(i), std::ios::binary) << content;
    }
}

void writeList(const fs::path &tree) {
    const auto describe = [&](ContentsEntry &file, int directory, const std::string &name) {
        if (file.type != ContentsEntry::Type::File)
            return;
        file.digest = Common::Rpm::sha256Beneath(directory, name, tree / file.path);
        // Where attributes cannot be set, none is looked for.
        file.isSignable =
            ::setxattr((tree / file.path).c_str(), Core::KELP::applicationIdAttribute, "demo", 4, 0) == 0;
    };
    ContentsList{{}, Core::KELP::contentsOfTree(tree, {}, describe)}.write(tree,
                                                                           Common::Durability::Deferred);
}

void readOnly(const fs::path &tree) {
    static std::array<char, pieceSize> piece;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(tree)) {
        if (!entry.is_regular_file())
            continue;
        const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        Common::Rpm::Digest digest;
        for (ssize_t size; (size = ::read(file, piece.data(), piece.size())) > 0;)
            digest.update({piece.data(), static_cast<std::size_t>(size)});
        ::close(file);
        if (digest.finish().empty())
            std::abort();
    }
}

void verify(const fs::path &tree) {
    Core::KELP::Unread unread;
    const auto list = ContentsList::read(tree);
    if (!list || !ContentsCheck("demo", tree, *list).verify(unread, [] {}).empty() || !unread.texts().empty())
        std::abort();
}

void compareWithLoop(const fs::path &place, int count, std::size_t size) {
    const fs::path tree = place / "tree";
    makeTree(tree, count, size);
    writeList(tree);
    std::vector<Cost> own;
    std::vector<Cost> loop;
    for (int i = 0; i < repeats; ++i) {
        loop.push_back(costOf([&] { readOnly(tree); }));
        own.push_back(costOf([&] { verify(tree); }));
    }
    const auto [wall, processor] = median(own);
    const auto [loopWall, loopProcessor] = median(loop);
    std::printf("| %d | %zu | %.3f | %.3f | %.2f | %.3f | %.3f | %.2f |\n", count, size / 1024, wall,
                loopWall, wall / loopWall, processor, loopProcessor, processor / loopProcessor);
    fs::remove_all(tree);
}

void measureLibrary(const char *name, const std::function<void(const std::string &, std::size_t)> &digest) {
    constexpr std::size_t mebibytes = 256;
    const std::string piece(pieceSize, 'x');
    std::vector<Cost> costs;
    for (int i = 0; i < repeats; ++i)
        costs.push_back(costOf([&] { digest(piece, mebibytes << 20 >> 16); }));
    std::printf("| %s | %.2f |\n", name, median(costs).processor * 1024 / mebibytes);
}

void measureLibraries() {
    measureLibrary("librpm", [](const std::string &piece, std::size_t count) {
        Common::Rpm::Digest digest;
        for (std::size_t i = 0; i < count; ++i)
            digest.update(piece);
        digest.finish();
    });
#ifdef KELP_BENCH_LIBCRYPTO
    measureLibrary("OpenSSL", [](const std::string &piece, std::size_t count) {
        EVP_MD_CTX *context = EVP_MD_CTX_new();
        EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
        for (std::size_t i = 0; i < count; ++i)
            EVP_DigestUpdate(context, piece.data(), piece.size());
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
        EVP_DigestFinal_ex(context, digest.data(), nullptr);
        EVP_MD_CTX_free(context);
    });
#endif
#ifdef KELP_BENCH_LIBGCRYPT
    measureLibrary("libgcrypt", [](const std::string &piece, std::size_t count) {
        gcry_md_hd_t context = nullptr;
        gcry_md_open(&context, GCRY_MD_SHA256, 0);
        for (std::size_t i = 0; i < count; ++i)
            gcry_md_write(context, piece.data(), piece.size());
        gcry_md_read(context, 0);
        gcry_md_close(context);
    });
#endif
#ifdef KELP_BENCH_NETTLE
    measureLibrary("nettle", [](const std::string &piece, std::size_t count) {
        sha256_ctx context;
        sha256_init(&context);
        for (std::size_t i = 0; i < count; ++i)
            sha256_update(&context, piece.size(), reinterpret_cast<const std::uint8_t *>(piece.data()));
        std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
        sha256_digest(&context, digest.size(), digest.data());
    });
#endif
}

} // namespace

int main() {
    std::array<char, 64> name{"/dev/shm/verify-benchmark.XXXXXX"};
    const fs::path place = ::mkdtemp(name.data());
    std::puts("| files | KiB each | verify s | loop s | ratio | on a processor: verify s | loop s | ratio "
              "|\n| ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |");
    constexpr std::size_t kibibyte = 1024;
    compareWithLoop(place, 20'000, 2 * kibibyte);
    compareWithLoop(place, 2'000, 50 * kibibyte);
    compareWithLoop(place, 16, 65'536 * kibibyte);
    std::puts("\n| library | s per GiB, on a processor |\n| --- | ---: |");
    measureLibraries();
    fs::remove_all(place);
}
