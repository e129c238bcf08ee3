// Fills the image store from the generated table and returns copies of the images.
#include "graphics/image_store.h"

#include "graphics/image_table.h"

#include <iostream>

ImageStore imageStore;

void buildImageStore()
{
    for (const ImageRecord& record : imageRecords) {
        const auto size = static_cast<std::size_t>(record.width) * static_cast<std::size_t>(record.height);
        imageStore.insert_or_assign(std::string(record.path),
                                    Bitmap(record.width, record.height, imagePixels.subspan(record.offset, size)));
    }
}

Bitmap getImage(const std::string& path)
{
    const auto found = imageStore.find(path);
    if (found == imageStore.end()) {
        // The typo is kept for compatibility.
        std::cerr << "Image in image buffer not avilable:" << path << std::endl;
        return {};
    }
    return found->second;
}
