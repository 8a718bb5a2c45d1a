// Runs one operation of the package store as a process, which the harness can break.
//
//   store-driver install|update ID VERSION SUBGROUP     from the staging directory of ID
//   store-driver remove ID
//   store-driver recover ID     completes a pending update of ID, as each user of the store does after a
//                               crash; prints the installed versions

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/store/fs-database.h"

#include <iostream>

using namespace Core::KELP;

namespace {

void bringIn(FSDatabase &store, const std::vector<std::string> &words,
             const Core::Configuration &configuration) {
    const auto &[id, version, subgroup] = std::tie(words.at(1), words.at(2), words.at(3));
    const PackageStaging staging{configuration.tempDirectory() / id, id, version, {}, {}};
    const PackageInformation extras = {{"certificate.id", "AB12"}, {"certificate.subgroup", subgroup}};
    if (words.front() == "install")
        return store.install(staging, extras);
    store.prepareUpdate(staging, extras);
    store.completeUpdate(id);
}

void recover(FSDatabase &store, const std::string &id) {
    if (store.hasPendingUpdate(id))
        store.completeUpdate(id);
    for (const auto &package : store.packages())
        std::cout << "installed " << package.at("general.id") << ' ' << package.at("general.version") << '\n';
}

} // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    Core::Configuration configuration;
    FSDatabase store(configuration, DatabasePathResolver::instance());
    try {
        if (words.at(0) == "recover")
            recover(store, words.at(1));
        else if (words.at(0) == "remove")
            store.remove(words.at(1));
        else
            bringIn(store, words, configuration);
    } catch (const std::exception &error) {
        std::cout << words.at(0) << " failed: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
