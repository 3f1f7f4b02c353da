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

// Instantiated in PrecompiledJSON.cpp alone: most of what a source without optimization takes. With
// it the compiler instantiates what it inlines.
#ifndef __OPTIMIZE__
extern template class nlohmann::basic_json<>;
#endif
