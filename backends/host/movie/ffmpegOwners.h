#pragma once

#include <host/ffmpeg/DecodedPicture.h>
#include <host/ffmpeg/owners.h>
