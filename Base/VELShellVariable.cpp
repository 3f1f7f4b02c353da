// SPDX-License-Identifier: Apache-2.0
#include "Base/VELShellVariable.h"

#include <algorithm>
#include <vector>

namespace vel {
namespace {

bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

bool isOperator(char character) {
    return std::string_view("&|<>()").find(character) != std::string_view::npos;
}

bool isNameCharacter(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '_';
}

bool startsExpansion(char character, std::string_view before) {
    if (character == '~') {
        return before.ends_with('=') || before.ends_with(':');
    }
    return character == '$' || character == '`';
}

struct Word {
    std::string text;                            // without its quotes
    std::size_t firstQuoted = std::string::npos; // where in `text` quoting begins
    bool expands = false;                        // a shell would put something else in

    void quote() { firstQuoted = std::min(firstQuoted, text.size()); }
};

/// Splits a shell's text into its commands, and these into words.
class ShellReader {
public:
    explicit ShellReader(std::string_view text) : _rest(text) {}

    /// Reads the next command, which may have no words. False at the end and at what is malformed.
    bool nextCommand(std::vector<Word>& words) {
        words.clear();
        while (!_rest.empty()) {
            skipBlanks();
            if (_rest.empty()) {
                break;
            }
            if (_rest.front() == '\n' || (_rest.front() == ';' && !words.empty())) {
                _rest.remove_prefix(1);
                return true;
            }
            if (!atWord() || !readWord(words.emplace_back())) {
                _malformed = true;
                return false;
            }
        }
        return !words.empty();
    }

    [[nodiscard]] bool isMalformed() const { return _malformed; }

private:
    char take() {
        const char character = _rest.front();
        _rest.remove_prefix(1);
        return character;
    }

    [[nodiscard]] bool atWord() const {
        const char character = _rest.empty() ? '\n' : _rest.front();
        return !isBlank(character) && !isOperator(character) && character != '\n' &&
               character != ';';
    }

    /// Skips blanks, lines that are continued, and a comment up to the end of its line.
    void skipBlanks() {
        while (!_rest.empty()) {
            if (isBlank(_rest.front())) {
                _rest.remove_prefix(1);
            } else if (_rest.starts_with("\\\n")) {
                _rest.remove_prefix(2);
            } else {
                break;
            }
        }
        if (_rest.starts_with('#')) {
            _rest.remove_prefix(std::min(_rest.find('\n'), _rest.size()));
        }
    }

    bool readWord(Word& word) {
        while (atWord()) {
            const char character = take();
            bool closed = true;
            if (character == '\'') {
                closed = readSingleQuoted(word);
            } else if (character == '"') {
                closed = readDoubleQuoted(word);
            } else if (character == '\\') {
                closed = readEscaped(word);
            } else {
                word.expands |= startsExpansion(character, word.text);
                word.text += character;
            }
            if (!closed) {
                return false;
            }
        }
        return true;
    }

    bool readSingleQuoted(Word& word) {
        word.quote();
        const std::size_t end = _rest.find('\'');
        if (end == std::string_view::npos) {
            return false;
        }
        word.text += _rest.substr(0, end);
        _rest.remove_prefix(end + 1);
        return true;
    }

    bool readDoubleQuoted(Word& word) {
        word.quote();
        while (!_rest.empty()) {
            const char character = take();
            if (character == '"') {
                return true;
            }
            if (character == '\\' && !_rest.empty()) {
                appendEscapedInQuotes(word);
                continue;
            }
            word.expands |= character == '$' || character == '`';
            word.text += character;
        }
        return false;
    }

    void appendEscapedInQuotes(Word& word) {
        const char character = take();
        if (character == '\n') {
            return;
        }
        if (std::string_view("$`\"\\").find(character) == std::string_view::npos) {
            word.text += '\\';
        }
        word.text += character;
    }

    bool readEscaped(Word& word) {
        if (_rest.empty()) {
            return false;
        }
        const char character = take();
        if (character != '\n') {
            word.quote();
            word.text += character;
        }
        return true;
    }

    std::string_view _rest;
    bool _malformed = false;
};

/// Where the value begins in a word that assigns, 0 in any other.
std::size_t valueOfAssignment(const Word& word) {
    const std::size_t equals = word.text.find('=');
    if (equals == std::string::npos || equals == 0 || word.firstQuoted <= equals) {
        return 0;
    }
    const std::string_view name = std::string_view(word.text).substr(0, equals);
    const bool isName =
        std::ranges::all_of(name, isNameCharacter) && !(name.front() >= '0' && name.front() <= '9');
    return isName ? equals + 1 : 0;
}

} // namespace

std::optional<std::string> shellVariable(std::string_view text, std::string_view name) {
    if (text.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::optional<std::string> value;
    ShellReader reader(text);
    std::vector<Word> words;
    while (reader.nextCommand(words)) {
        // Assignments before a command's name hold for that command alone.
        if (!std::ranges::all_of(words, valueOfAssignment)) {
            continue;
        }
        for (const Word& word : words) {
            const std::size_t start = valueOfAssignment(word);
            if (std::string_view(word.text).substr(0, start - 1) == name) {
                value = word.expands ? std::nullopt : std::optional(word.text.substr(start));
            }
        }
    }
    return reader.isMalformed() ? std::nullopt : value;
}

} // namespace vel
