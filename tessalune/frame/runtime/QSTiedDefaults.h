// What an object tells a property stream that stores it.
#pragma once

#include <string_view>

namespace tessalune {

// An object of which one property sets others, beside its base: those of them that have their
// default, though the one would set them otherwise, are stored all the same.
class ITiedDefaults {
 public:
  virtual bool StoresDefault(std::string_view AName) const = 0;

 protected:
  ~ITiedDefaults() = default;
};

}  // namespace tessalune
