#include "kelp/core/kelp/validator/desktop/desktop-capabilities.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sstream>

namespace Validator {

namespace {

using Tree = boost::property_tree::ptree;

constexpr const char *capabilitiesGroup = "X-Velura-Capabilities";

constexpr std::string_view inputs[] = {"Mouse", "Tablet"};
/// Spelt as the platform reads it.
constexpr std::string_view interfaces[] = {"ResizeableContent"};
constexpr std::string_view screenOrientations[] = {"Landscape", "LandscapeInverted", "Portrait",
                                                   "PortraitInverted"};
constexpr ValueRow capabilities[] = {
    {"Input", inputs},
    {"UserInterface", interfaces},
    {"ScreenOrientation", screenOrientations},
};

/// Within the bounds of such texts: five million names in 32 MiB once made a tree of 3.7 GB.
std::optional<Tree> readIni(const std::string &path) {
    std::optional<std::string> text = Core::KELP::readDesktopText(path);
    if (!text)
        return std::nullopt;
    try {
        std::istringstream stream(std::move(*text));
        // Read in place: a tree cannot be moved, and a copy of a large one is expensive.
        std::optional<Tree> tree(std::in_place);
        boost::property_tree::read_ini(stream, *tree);
        return tree;
    } catch (const boost::property_tree::ini_parser_error &) {
        return std::nullopt;
    }
}

} // namespace

DesktopCapabilities::DesktopCapabilities(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                                         std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void DesktopCapabilities::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    const auto file = readIni(realPath);
    if (!file) {
        logger_->log(DesktopMessage::Broken);
        return;
    }
    // Uses the tree itself: a copy would take as much memory again.
    if (const auto declared = file->get_child_optional(capabilitiesGroup)) {
        for (const auto &[key, value] : *declared)
            check(key, value.data());
    }
}

void DesktopCapabilities::check(const std::string &key, const std::string &value) {
    const ValueRow *row = findRow(capabilities, key);
    if (row == nullptr) {
        logger_->log(CapabilitiesMessage::KeyInvalid, {key, capabilitiesGroup});
        return;
    }
    std::vector<std::string> pieces;
    // A separator at the end leaves an empty piece, which is refused: unlike the file's other lists, the
    // platform's library does not read this one.
    boost::split(pieces, value, boost::is_any_of(";"), boost::token_compress_on);
    for (const std::string &piece : pieces) {
        if (!isOneOf(row->values, piece))
            logger_->log(CapabilitiesMessage::ValueInvalid, {piece, key});
    }
}

void appendCapabilityRules(Rules &rules) {
    appendValueRules(rules, "capability", {}, capabilities);
}

} // namespace Validator
