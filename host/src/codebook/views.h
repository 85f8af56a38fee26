// Views of a codebook, all of them made from its JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace vor {

using CodebookJson = nlohmann::ordered_json;

std::string codebook_page(const CodebookJson &book);
std::string codebook_csv(const CodebookJson &book);
std::string codebook_markdown(const CodebookJson &book);

// A value as people read it, numbers with six digits; empty for one that is null or not there.
std::string shown(const CodebookJson &one, const char *key);

// "12", or "> 10000" where no more were counted.
std::string distinct_text(const CodebookJson &variable);

// ": 2 .a (refused), 1 .", or nothing.
std::string missing_text(const CodebookJson &variable);

// "3 (so-so), 9 (never)", or nothing.
std::string unused_labels(const CodebookJson &variable);

} // namespace vor
