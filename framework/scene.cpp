// Scene: the pure destructor still needs a body for the derived destructors to chain to.
#include "scene.h"

Scene::~Scene() {}
