# The front door. Each target installs what it needs (scripts/setup), builds what it needs and runs.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
build = cmake --build --preset release -j $(JOBS)
programs = --target libzovek.so zovek_static zovek_client
# Without the tests and what they need, but where they are built already.
configure = cmake --preset release $(if $(wildcard build/release/tests),,-DZOVEK_TESTS=OFF)

.PHONY: all demo test bench check check-all install uninstall setup clean
all:
	@scripts/setup build
	$(configure)
	$(build) $(programs)
demo:
	@scripts/setup demo
	$(configure)
	$(build) --target zovek_client
	scripts/demo
test:
	@scripts/setup test
	cmake --preset release -DZOVEK_TESTS=ON
	$(build)
	ctest --preset release -j $(JOBS)
bench:
	@scripts/setup bench
	scripts/bench
check:
	@scripts/setup check
	scripts/check
check-all: check
	scripts/fresh
install:
	@scripts/setup build
	$(configure) -DCMAKE_INSTALL_PREFIX=$(abspath $(PREFIX))
	$(build) $(programs)
	cmake --install build/release
uninstall:
	cmake --build --preset release --target uninstall
setup:
	@scripts/setup check bench samples
clean:
	rm -rf build out
