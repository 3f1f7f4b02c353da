// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>

#include <string>

using nlohmann::json;
using nlohmann::detail::iterator_input_adapter;

template class nlohmann::basic_json<>;
template class nlohmann::detail::lexer<json, iterator_input_adapter<const char*>>;
template class nlohmann::detail::lexer<json, iterator_input_adapter<std::string::const_iterator>>;
template class nlohmann::detail::parser<json, iterator_input_adapter<const char*>>;
template class nlohmann::detail::parser<json, iterator_input_adapter<std::string::const_iterator>>;
