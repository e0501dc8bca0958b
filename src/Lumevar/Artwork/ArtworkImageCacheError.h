#pragma once
// Why the artwork cache could not give an image for a key.

#include "Support/Error.h"

class ArtworkImageCacheError : public Error {
public:
    enum Code {
        invalidImage = 0,            // the loaded bytes are no image
        unableToCreateThumbnail = 1, // the image could not be decoded to a thumbnail
        noArtworkURL = 2,            // nothing cached and no URL to load from
    };
    explicit ArtworkImageCacheError(Code code, QString detail = {});
    Code artworkCode() const { return static_cast<Code>(code()); }
};
