#pragma once

// The fuzzer links the parser's sources directly, so nothing is exported.
#define MEDIAMODEL_EXPORT
#define MEDIAMODEL_TESTS_EXPORT
