// What the fuzz targets share: libFuzzer's input reader, the standard headers they all use and
// the stop on a broken promise.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

// A result other than the one promised: the inputs go to stderr and the run stops, so that
// libFuzzer keeps the input as a crash. The format arguments describe the inputs.
#define TQ_CONFERE(condicao, ...)                                                                  \
    ((condicao) ? void()                                                                           \
                : (std::fprintf(stderr, "fuzz: %s:%d: %s: ", __FILE__, __LINE__, #condicao),       \
                   std::fprintf(stderr, __VA_ARGS__), std::fputc('\n', stderr), std::abort()))
