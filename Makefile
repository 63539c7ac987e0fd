# Two commands do everything on a fresh Debian 12 machine:
#   make run    install what is missing, build, start Quirebook
#   make test   install what is missing, build, run every test
# and three more:
#   make package   an optimised build and build/release/quirebook_<version>_<arch>.deb
#   make asan      every test in the asan tree (clang, ASan + UBSan); the same as
#                  `make test PRESET=asan`, which is what CI runs
#   make fuzz      each fuzz target for FUZZ_SECONDS (or only FUZZ_TARGET)
PRESET ?= dev
BUILD  := build/$(PRESET)
JOBS   ?= $(shell nproc)
ASAN   := $(filter asan,$(PRESET))

.PHONY: all deps configure build run test bench selftest format format-check clean install package \
	release-build asan fuzz

all: build

deps:
	@bash scripts/install-deps.sh $(ASAN)

configure: deps
	@if [ ! -f $(BUILD)/build.ninja ]; then cmake --preset $(PRESET); fi

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/src/app/quirebook $(ARGS)

selftest: build
	$(BUILD)/src/app/quirebook --selftest

# The asan tree's package test packages the optimised build, never a
# sanitized one.
test: build $(if $(ASAN),release-build)
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 900

# DESTDIR=/tmp/stage and PREFIX=/usr are honoured; PREFIX defaults to /usr/local.
install: build
	cmake --install $(BUILD) --strip $(if $(PREFIX),--prefix $(PREFIX))

# The package is made from the optimised build, never from a debug one.
package: PRESET = release
package: BUILD = build/release
package: build
	cd $(BUILD) && cpack -G DEB

release-build:
	$(MAKE) --no-print-directory build PRESET=release

asan:
	$(MAKE) --no-print-directory test PRESET=asan

# The growing corpora stay in build/fuzz-corpus, findings in build/fuzz-findings.
FUZZ_SECONDS ?= 600
FUZZ_TARGET ?=
fuzz:
	$(MAKE) --no-print-directory build PRESET=asan
	bash fuzz/fuzz.sh run build/asan $(FUZZ_SECONDS) $(FUZZ_TARGET)

# Every C++ file of the tree as .clang-format has it.
SOURCES = $(shell git ls-files '*.cpp' '*.h')

format: deps
	clang-format -i $(SOURCES)

format-check: deps
	clang-format --dry-run -Werror $(SOURCES)

bench: build
	@for b in bench/*.sh; do [ -e "$$b" ] || continue; echo "== $$b"; bash "$$b" $(BUILD) || exit 1; done

clean:
	rm -rf build
