// The compiled-in images, found by their path names.
#pragma once

#include "graphics/bitmap.h"

#include <map>
#include <string>

/// Ordered byte-wise by path, such as "img/wheel_0.png". The paths are plain keys: no file is read.
using ImageStore = std::map<std::string, Bitmap>;

/// Empty until `buildImageStore`, never changed afterwards.
extern ImageStore imageStore;

/// Fills the store with every compiled-in image. Called once, before anything draws.
void buildImageStore();

/// A copy of the image stored under `path`. A path that is not stored is reported on standard error and yields an
/// empty bitmap.
[[nodiscard]] Bitmap getImage(const std::string& path);
