// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>

#ifndef __OPTIMIZE__
template class nlohmann::basic_json<>;
#endif
