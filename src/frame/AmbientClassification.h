#ifndef TEVROL_FRAME_AMBIENTCLASSIFICATION_H
#define TEVROL_FRAME_AMBIENTCLASSIFICATION_H

#include <cstdint>

// Stand-in for the diagnostics library's thread classification, which this
// platform lacks. A work loop thread classifies itself once at its start;
// nothing depends on an effect, and here there is none.
namespace Ambient {
namespace Classification {

class ModuleId {
 public:
  explicit ModuleId(char const* /*name*/) {}
};

class ScopedId {
 public:
  ScopedId(ModuleId /*module*/, unsigned short /*level*/, char const* /*text*/,
           std::int32_t /*value*/) {}
};

}  // namespace Classification
}  // namespace Ambient

#endif
