#include "common/name_filter.h"

#include <regex>
#include <stdexcept>

namespace kyv::bench {

struct NameFilter::Pattern {
  std::regex expression;
};

NameFilter::NameFilter(const std::string& expression) try
    : pattern_(std::make_shared<Pattern>(Pattern{std::regex(expression)})) {
} catch (const std::regex_error& error) {
  throw std::invalid_argument("'" + expression + "' is no regular expression: " + error.what());
}

bool NameFilter::finds(const std::string& name) const {
  return std::regex_search(name, pattern_->expression);
}

}  // namespace kyv::bench
