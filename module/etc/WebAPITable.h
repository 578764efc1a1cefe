// The module's exported method table.
#pragma once

#include <kova/APITable.h>

extern "C" {
// The rows of every method, then a null row.
extern const KOVA::APITableRow gTable[];
}
