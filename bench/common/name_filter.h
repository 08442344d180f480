// Which cells are run, by an expression that their names are searched for.
#pragma once

#include <memory>
#include <string>

namespace kyv::bench {

// One source compiles the regular expressions of the standard library, which takes it longer than all else
// there.
class NameFilter {
 public:
  // An ECMAScript expression; an empty one finds every name. Throws std::invalid_argument for a faulty one.
  explicit NameFilter(const std::string& expression = "");

  bool finds(const std::string& name) const;

 private:
  struct Pattern;
  std::shared_ptr<const Pattern> pattern_;
};

}  // namespace kyv::bench
