# Front door for people: `make demo` builds everything and runs the main job
# on the demo installation; `make test` builds and runs every test.
BUILD ?= build
SANITIZE ?= 0
JOBS ?= $(shell nproc)

ifeq ($(SANITIZE),1)
BUILD := build-san
CMAKE_FLAGS += -DMANTREL_SANITIZE=ON
endif

.PHONY: all deps configure build demo test release clean

all: build

deps:
	@scripts/deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

demo: build
	@scripts/demo.sh $(BUILD)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# What a packager builds: -O3, with the project's warnings as errors. Built
# only; the tests run in the two builds above.
release: deps
	@cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build-release -j $(JOBS)

clean:
	rm -rf build build-san build-release demo
