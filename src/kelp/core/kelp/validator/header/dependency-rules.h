#pragma once

namespace Validator {

struct MetaStage;

// The rules on the capabilities that a package names. Each reports in the order of the header.

/// A package provides what its profile demands, names of its own, its application and handlers of MIME types.
void checkProvides(const MetaStage &stage);
/// A package conflicts with what its profile demands, and nothing else.
void checkConflicts(const MetaStage &stage);
/// A package obsoletes nothing.
void checkObsoletes(const MetaStage &stage);
/// A package requires only packages and libraries that its profile lists.
void checkRequirements(const MetaStage &stage);

} // namespace Validator
