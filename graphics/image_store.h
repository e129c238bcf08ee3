// The compiled-in images, looked up by path.
#pragma once

#include "graphics/bitmap.h"

#include <map>
#include <string>

/// Ordered bytewise by path, such as "img/wheel_0.png". The paths are only keys: no file is read.
using ImageStore = std::map<std::string, Bitmap>;

/// Empty until `buildImageStore`, unchanged afterwards.
extern ImageStore imageStore;

/// Fills the store with every compiled-in image. Call it once, before anything draws.
void buildImageStore();

/// Returns a copy of the image stored under `path`. Reports an unknown path on standard error and returns an empty
/// bitmap.
[[nodiscard]] Bitmap getImage(const std::string& path);
