#include "tests/join/rows.hpp"
