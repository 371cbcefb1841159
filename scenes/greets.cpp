// Greets: deliberately empty.
#include "scenes/greets.h"

Greets::~Greets() {}

void Greets::init() {}

void Greets::release() {}

void Greets::draw() {}
