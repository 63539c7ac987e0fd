#pragma once

#include <functional>

// How long work reports and is stopped, at every layer: (done, total) after
// each page or file, and a test asked before each one (a cancel ends the
// work with PDFError::cancelled()).
using Progress = std::function<void(int done, int total)>;
using IsCancelled = std::function<bool()>;
