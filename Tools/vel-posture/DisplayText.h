// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Text as a terminal shows it. Widths are in terminal columns: an ideograph takes two, a combining
/// mark none. Texts are UTF-8.

/// `text` with control and format characters (escape sequences, line ends, changes of direction),
/// and what is no character (U+FFFE, U+FFFF), escaped as in JSON, such as \n and \u001b; bytes that
/// are not UTF-8 become U+FFFD. JSON text stays the same JSON, and all of it may stand in XML.
std::string printable(std::string_view text);

/// A number with as many digits after its point.
std::string decimalText(double number, int digitsAfterPoint);

/// The columns that `text`, which is printable, takes.
std::size_t displayWidth(std::string_view text);

/// `text`, or as much of it as fits into `columns` (at least 1) with an ellipsis at its end.
std::string truncated(std::string_view text, std::size_t columns);

/// `text` with spaces after it, up to `columns`; unchanged if it is wider.
std::string padded(std::string_view text, std::size_t columns);

/// `text` in lines of at most `columns` (at least 1; a wide character stands alone in a column),
/// broken at spaces where there are any. At least one line.
std::vector<std::string_view> wrapped(std::string_view text, std::size_t columns);
