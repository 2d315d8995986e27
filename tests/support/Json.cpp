#include "support/Json.h"

#include <cctype>
#include <stdexcept>

namespace lathwind::testing {
namespace {

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    Json value() {
        Json json;
        switch (peek()) {
            case '{':
                list('}', [&] {
                    std::string name = string();
                    expect(':');
                    json.members.emplace(std::move(name), value());
                });
                return json;
            case '[':
                list(']', [&] { json.items.push_back(value()); });
                return json;
            case '"':
                json.text = string();
                return json;
            default:
                while (position_ < text_.size() &&
                       (std::isdigit(static_cast<unsigned char>(text_[position_])) != 0 ||
                        text_[position_] == '-')) {
                    json.text += text_[position_++];
                }
                return json;
        }
    }

private:
    char peek() {
        while (position_ < text_.size() &&
               std::string_view(" \t\r\n").find(text_[position_]) != std::string_view::npos) {
            ++position_;
        }
        if (position_ == text_.size()) {
            throw std::runtime_error("JSON breaks off");
        }
        return text_[position_];
    }

    void expect(char character) {
        if (peek() != character) {
            throw std::runtime_error("JSON: expected " + std::string(1, character));
        }
        ++position_;
    }

    template <class Item>
    void list(char end, Item item) {
        ++position_;
        while (peek() != end) {
            item();
            if (peek() == ',') {
                ++position_;
            }
        }
        ++position_;
    }

    std::string string() {
        expect('"');
        std::string result;
        while (text_.at(position_) != '"') {
            char character = text_[position_++];
            if (character == '\\') {
                character = text_.at(position_++);
                character = character == 'n'   ? '\n'
                            : character == 'r' ? '\r'
                            : character == 't' ? '\t'
                                               : character;
            }
            result += character;
        }
        ++position_;
        return result;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

}  // namespace

Json Json::parse(std::string_view text) {
    return Parser(text).value();
}

}  // namespace lathwind::testing
