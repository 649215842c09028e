#pragma once

#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "control/VisibleText.h"

/// With its names in the order in which they are given.
using Json = nlohmann::ordered_json;

/// A name is always there, so that programs need not ask for it: without a value it is null.
inline Json orNull(bool known, Json value) { return known ? std::move(value) : Json(); }

inline Json orNull(const std::optional<std::string>& text) { return text ? Json(utf8Of(*text)) : Json(); }
