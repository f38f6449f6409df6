// The headers that every test has without including them: the system's, the most used standard ones and GoogleTest.
#pragma once

#include "cmake/precompiled.h"

#include <gtest/gtest.h>
