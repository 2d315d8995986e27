#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lathwind::testing {

// The JSON of the golden files: objects, lists, texts and whole numbers. Malformed text throws
// std::runtime_error.
struct Json {
    std::map<std::string, Json> members;
    std::vector<Json> items;
    std::string text;  // a text, unescaped, or a number as it stands

    const Json& operator[](const std::string& name) const { return members.at(name); }
    bool has(const std::string& name) const { return members.count(name) != 0; }
    long long number() const { return std::stoll(text); }

    static Json parse(std::string_view text);
};

}  // namespace lathwind::testing
