#pragma once
// The engine run as the earlier front ends knew it: the facade and the run
// registry. New code includes engine/engine.h.
#include "engine/engine.h"
#include "engine/run_registry.h"
