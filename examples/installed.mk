# Builds sensor_module, the module to start one's own from, against the installed library: copy this folder, then make.
CXXFLAGS ?= -O2 -Wall -Wextra
PKG_CONFIG ?= pkg-config

sensor_module: sensor_module.cpp value_text.cpp value_text.hpp
	$(CXX) -std=c++20 $(CXXFLAGS) $$($(PKG_CONFIG) --cflags moxhost) -o $@ sensor_module.cpp value_text.cpp \
	    $(LDFLAGS) $$($(PKG_CONFIG) --libs moxhost)

clean:
	rm -f sensor_module

.PHONY: clean
