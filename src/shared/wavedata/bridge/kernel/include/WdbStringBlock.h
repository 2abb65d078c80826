#pragma once

#include "TracewellExport.h"
#include "WdbIBlockManager.h"

#include <string>
