// Whose containers: the current user's or the computer's.
#pragma once

enum class KeySet { User, Computer };
