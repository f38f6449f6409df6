// The headers that most tests include.
#pragma once

#include "cmake/precompiled.h"

#include <gtest/gtest.h>
