// The catalogue for a reader: one block per material in list order.
#pragma once

#include <string>
#include <vector>

#include "MaterialDesc.h"

// The panel's name of an opacity mode ("None", "Blend", ...), or "unknown (<value>)".
std::string opacityName(int32_t opacity);

std::string catalogueText(const std::vector<MaterialDesc>& materials);
