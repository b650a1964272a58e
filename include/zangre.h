#pragma once

#include "zantable.h"

ZAN_DECLARE_TABLE(zanGreTunnelsTable)
