#pragma once

#include <QString>

#include <functional>

// The built-in self-check: runs each check on documents it makes itself,
// prints "PASS name" or "FAIL name" per check and a closing line, and
// returns the exit status (0 when every check passed).
namespace SelfTest {
int run();
} // namespace SelfTest
