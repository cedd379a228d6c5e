// The library instance the example host solvers' test programs share.
// example_test_main.cpp creates it on device 0 before the tests run; a
// build whose device cannot be used exits 77, which CTest reports as
// skipped.
#pragma once

#include "CRVZGPUtool.h"

CRVZGPUtool& Tool();
