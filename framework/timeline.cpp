// Timeline: plain data; the director reads and writes the fields directly.
#include "timeline.h"

Timeline::Timeline() : scene(nullptr), start(0), end(0) {}

Timeline::~Timeline() {}
