# The front door. Each target installs what it needs (scripts/setup), builds what it needs and runs.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
build = cmake --build --preset release -j $(JOBS)
programs = --target libzovek.so zovek_static zovek_client zovek_pages
# Without the tests and what they need, but where they are built already.
configure = cmake --preset release $(if $(wildcard build/release/tests),,-DZOVEK_TESTS=OFF)

version = $(shell grep -m1 -oE '[0-9]+[.][0-9]+[.][0-9]+' CMakeLists.txt)

.PHONY: all demo test bench check check-all dist deb install uninstall setup clean
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
check-all: check deb
	scripts/packages
	scripts/fresh
# The tracked files of the last commit, with its time: the same bytes whoever makes it.
dist:
	@scripts/setup dist
	mkdir -p out
	git archive --prefix=zovek-$(version)/ HEAD | xz -9 --threads=1 > out/zovek-$(version).tar.xz
# Debian packages of the last commit in out/deb, and what lintian says of them.
deb: dist
	@scripts/setup deb
	rm -rf out/deb && mkdir -p out/deb
	git archive --prefix=zovek-$(version)/ HEAD . ':(exclude)debian' | xz --threads=1 > out/deb/zovek_$(version).orig.tar.xz
	tar -C out/deb -xf out/zovek-$(version).tar.xz
	cd out/deb/zovek-$(version) && dpkg-buildpackage -us -uc -j$(JOBS)
	lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs out/deb/*.changes
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
