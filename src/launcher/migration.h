#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Core {
class Configuration;
}

namespace Launcher {

/// One thing that is done once in the life of a machine.
struct Migration {
    std::string name;
    std::filesystem::path stampPath;                     ///< An empty file there says that it was done.
    std::function<void(Core::Configuration &)> callback; ///< Fails by throwing.
};

} // namespace Launcher
