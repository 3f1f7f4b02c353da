// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <system_error>

namespace vel {

/// Reads the whole of `text` as a decimal number, whatever the locale: digits with an optional
/// minus sign, decimal point and exponent. `invalid_argument` if it is not; `result_out_of_range`
/// if it is too large for a double, or too small and not zero. `number` is set only on success.
std::errc readDecimal(std::string_view text, double& number);

/// While in scope, numbers of the calling thread are read and written with a decimal point,
/// whatever the locale of the process. Other threads keep theirs.
class DecimalPointScope {
public:
    DecimalPointScope();
    DecimalPointScope(const DecimalPointScope&) = delete;
    DecimalPointScope& operator=(const DecimalPointScope&) = delete;
    ~DecimalPointScope();

private:
    void* _previous;
};

} // namespace vel
