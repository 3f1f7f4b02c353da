// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The values that documents are made of.

#include <nlohmann/json_fwd.hpp>

/// The one value type of documents, check entries, property lists and preferences.
///
/// This header only declares it. Code that reads or makes a value includes
/// <nlohmann/json.hpp>. A JSON null is a value that is present, never an absent one. A property
/// list's date is held as its ISO 8601 text, its data as base64 text.
using VELValue = nlohmann::json;

/// A VELValue that holds an object: string keys, UTF-8.
using VELDictionary = VELValue;

/// A VELValue that holds an array.
using VELArray = VELValue;
