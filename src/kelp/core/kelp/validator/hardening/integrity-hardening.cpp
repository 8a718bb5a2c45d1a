#include "kelp/core/kelp/validator/hardening/integrity-hardening.h"

#include "kelp/core/kelp/validator/data/integrityd.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"

#include <json-glib/json-glib.h>

#include <algorithm>
#include <memory>

namespace Validator {

namespace {

struct Release {
    void operator()(JsonParser *parser) const { g_object_unref(parser); }
};

/// The objects that have a member "watch", each as often as it has one.
using Watching = std::vector<JsonObject *>;

void note(JsonParser *, JsonObject *object, const char *member, void *watching) {
    if (std::string_view(member) == "watch")
        static_cast<Watching *>(watching)->push_back(object);
}

/// The top level of a text; empty for one that is no JSON.
struct Root {
    bool isThere = false;
    std::ptrdiff_t watchMembers = 0;
};

Root rootOf(std::string_view text) {
    const std::unique_ptr<JsonParser, Release> parser(json_parser_new());
    Watching watching;
    g_signal_connect(parser.get(), "object-member", G_CALLBACK(note), &watching);
    if (!json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()), nullptr))
        return {};
    JsonNode *root = json_parser_get_root(parser.get());
    if (root == nullptr || !JSON_NODE_HOLDS_OBJECT(root))
        return {root != nullptr};
    return {true, std::ranges::count(watching, json_node_get_object(root))};
}

bool isAmbiguous(std::string_view text) {
    const auto pieces = splitJsonRoots(text);
    // Pieces of comments only are no roots.
    std::ptrdiff_t roots = 0;
    std::ptrdiff_t watchMembers = 0;
    for (const std::string_view piece : pieces.value_or(std::vector<std::string_view>())) {
        const Root root = rootOf(piece);
        roots += root.isThere ? 1 : 0;
        watchMembers = std::max(watchMembers, root.watchMembers);
    }
    return roots > 1 || watchMembers > 1;
}

} // namespace

IntegrityHardening::IntegrityHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool IntegrityHardening::canValidate(const std::string &path, const std::string &) {
    return path == "/etc/integrityd/config.d/" + meta_->name() + ".json";
}

void IntegrityHardening::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    const auto file = MappedFile::open(realPath);
    if (file && readWatchedFiles(realPath) && isAmbiguous(file->bytes()))
        logger_->log(HardeningRule::IntegrityFileAmbiguous, {path_});
}

} // namespace Validator
