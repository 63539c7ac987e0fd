# The asan tree (CMakePresets.json): AddressSanitizer and UndefinedBehavior-
# Sanitizer on the whole program and its tests, and with QUIREBOOK_FUZZ the
# coverage instrumentation libFuzzer steers by, so one tree serves the test
# suite and the fuzz targets alike. Qt, qpdf, poppler and tesseract come from
# Debian uninstrumented: their own memory errors go unseen, ours don't.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "QUIREBOOK_SANITIZE needs clang (CMAKE_CXX_COMPILER=clang++).")
endif()

add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
  -fno-omit-frame-pointer)
add_link_options(-fsanitize=address,undefined)
if(QUIREBOOK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# qpdf 11.3's JSON.hh defaults a destructor that destroys a std::vector of
# JSON inside JSON itself, where JSON is still incomplete: C++20 makes that
# destructor constexpr, which clang (unlike gcc) defines on the spot and
# refuses. A copy of the header with the destructor written out as `{}`
# (defined once JSON is complete, the same code) goes first on the include
# path. qpdf 11.4 fixed the header; then no copy is made.
find_file(QUIREBOOK_QPDF_JSON_HEADER qpdf/JSON.hh REQUIRED)
file(READ ${QUIREBOOK_QPDF_JSON_HEADER} json_header)
set(json_defaulted "virtual ~JSON_array() = default;")
string(FIND "${json_header}" "${json_defaulted}" json_at)
if(json_at GREATER -1)
  string(REPLACE "${json_defaulted}" "virtual ~JSON_array() {}" json_header "${json_header}")
  file(WRITE ${CMAKE_BINARY_DIR}/qpdf-clang/qpdf/JSON.hh "${json_header}")
  include_directories(BEFORE SYSTEM ${CMAKE_BINARY_DIR}/qpdf-clang)
endif()

# How the sanitizers run, for every test and every fuzz run alike (fuzz.sh
# reads the same files). The suppressions name libraries, never our code.
set(QUIREBOOK_SANITIZER_DIR ${CMAKE_CURRENT_LIST_DIR})
set(QUIREBOOK_TEST_ENVIRONMENT
  "ASAN_OPTIONS=detect_leaks=1:check_initialization_order=1"
  "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:suppressions=${QUIREBOOK_SANITIZER_DIR}/ubsan.supp"
  "LSAN_OPTIONS=suppressions=${QUIREBOOK_SANITIZER_DIR}/lsan.supp:print_suppressions=0")
