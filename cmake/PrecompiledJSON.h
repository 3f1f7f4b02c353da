// SPDX-License-Identifier: Apache-2.0
#pragma once

// The header defines a literal, _json, that nothing here uses. g++ would instantiate the parser for
// it again in every source, which takes longer than most sources themselves: as a template without
// a use it is instantiated in none.
#define _json(text, length)                                                                        \
    _json(text, length);                                                                           \
    template <typename> nlohmann::json withoutUse(text, length)
#include <nlohmann/json.hpp>
#undef _json

#include <string>

// Instantiated in PrecompiledJSON.cpp alone, values and the reader of text: most of what a source
// without optimization takes. With it the compiler instantiates what it inlines.
#ifndef __OPTIMIZE__
extern template class nlohmann::basic_json<>;
extern template class nlohmann::detail::lexer<
    nlohmann::json, nlohmann::detail::iterator_input_adapter<const char*>>;
extern template class nlohmann::detail::lexer<
    nlohmann::json, nlohmann::detail::iterator_input_adapter<std::string::const_iterator>>;
extern template class nlohmann::detail::parser<
    nlohmann::json, nlohmann::detail::iterator_input_adapter<const char*>>;
extern template class nlohmann::detail::parser<
    nlohmann::json, nlohmann::detail::iterator_input_adapter<std::string::const_iterator>>;
#endif
