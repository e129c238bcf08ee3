// The compiled-in images, looked up by path.
#pragma once

#include "graphics/bitmap.h"

#include <map>
#include <string>

/// Images by path, such as "img/wheel_0.png", in bytewise order. The paths are only keys: no file is read.
using ImageStore = std::map<std::string, Bitmap>;

/// Empty before the call of `buildImageStore`, unchanged afterwards.
extern ImageStore imageStore;

/// Fills the store with all compiled-in images. Call it once, before the first image is used.
void buildImageStore();

/// Returns a copy of the image stored under `path`. Reports an unknown path on standard error and returns an empty
/// bitmap.
[[nodiscard]] Bitmap getImage(const std::string& path);
