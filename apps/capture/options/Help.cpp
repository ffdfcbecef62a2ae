#include "options/Options.h"

namespace tamsel::capture {

std::string_view helpText()
{
    return R"(Usage: tamsel-capture [global options] COMMAND [options]

Runs a camera session or motion detection the way a capture screen does, and shows what reaches the screen.

Commands
  capture FOLDER              what a capture screen does: run a camera with detection and both motion verdicts, take one
                              still when everything that is required holds at the same time, stop; and write the still,
                              a contact sheet with outlines, the verdicts over time and all events into the folder,
                              whose index.html shows them
    --require R,R,...         still, tilted; face, code, code:KIND (as code:pdf417, see detect), seen within the last
                              0.3 s; or none (still,tilted)
    --motion LOG              what the motion sensors say, replayed meanwhile
    --threshold R, --duration S, --angle DEG
                              as for motion
    --timeout S               give up after S seconds (30)
    --record                  a film of it, too
    --microphone INPUT        what is heard in it; as for record
    --faces                   look for faces even when none is required
    --overwrite               replace what an earlier capture has left in the folder,
                              once this one is whole
    --camera, --location, --heading, --silent, --flash, --torch
                              as for still
  status                      what a screen can ask: permissions, which sources are there, what can be captured now, how
                              large the pictures are; each camera runs until its first frame has come
    --motion LOG, --microphone INPUT
                              as for capture
  devices                     the cameras that are there, as a table
  frames                      run a session and count its frames, until interrupted unless told otherwise
    --camera back|front       which camera (back)
    --count N                 end after N frames
    --seconds S               end after S seconds
    --save-every K            save every K-th frame as PNG into the folder of --out
    --contact-sheet FILE.png  a picture of evenly spaced frames
    --motion LOG              tell motion verdicts beside the frames, of a log that is replayed meanwhile
  still OUT.jpg               take one still, with where and with what it was taken
    --camera back|front       which camera (back)
    --location PLACE          LAT,LON[,ALT] in degrees and metres; gpsd:HOST[:PORT], the last
                              three-dimensional fix of a daemon
    --heading DEG             where the camera points to, degrees clockwise from north
    --silent                  without the sound of a shutter
    --flash off|on|auto, --torch off|on|auto
                              where the camera has them
  record OUT.mp4              record picture and sound, until interrupted unless told otherwise; .mov gives QuickTime
    --seconds S               end after S seconds
    --camera back|front       which camera (back)
    --microphone INPUT        what is heard: a file with sound, in a loop; a device, as alsa:default, pulse:default;
                              a URL or FFmpeg input; test:tone[@HERTZ], test:beeps; without it the sound of the
                              camera's own file, where it is one
    --silent                  no sound
    --overwrite               replace a file that is there, once the new one is whole
    --encoder NAME            of the FFmpeg libraries; repeated, the first that works (libx264, libopenh264, mpeg4)
  repair FILE                 complete a recording whose program was killed; film.mp4 or film.part.mp4
  detect INPUT                find codes and faces in a picture (JPEG, PNG, WebP, TIFF, HEIC), in a video, which is
                              played once, or before a camera (as for --back), until interrupted or told otherwise
    --kinds K,K,...           of codes: code39, code39Mod43, code93, code128, ean8, ean13, interleaved2of5, itf14,
                              upce, aztec, dataMatrix, pdf417, qr, or all (all; with --faces alone none)
    --faces                   the largest face
    --annotate OUT.png        a picture of it with outlines and texts: of a video or a camera the frame when something
                              was found last, perhaps one a little later than that in which it was, else the last
    --seconds S               of a video or a camera: end after S seconds
    --orientation 1..8        of a picture (its own): the way up to look for faces in and to draw it in
                              Places are relative to the stored picture, 0 to 1 from its top left. Finding nothing is
                              no failure.
  motion LOG|sensor           tell whether the device is held still and tilted far enough, of a log, or of
                              the sensors of this machine; each that the log has columns for, unless told
                              otherwise
    --stability               held still: rotation rates within the threshold of each other
      --threshold R           radians per second (0.3)
      --duration S            for how long, in seconds (0.8)
    --facing-angle            tilted far enough
      --angle DEG             degrees of pitch (45)
    --real-time               replay at the log's own pace, not as fast as possible
    --plot FILE.svg           a picture of the log and the verdicts
  asset FILE                  read a recording: every frame, ten a second, whatever its own rate
    --fast                    do not wait between the frames
    --save-every K, --contact-sheet FILE.png
                              as for frames
  asset-still FILE OUT.png    the still that a screen gets of a recording: its image at 1/60 s, stored way up
  thumbnail FILE OUT.png      the same image as a thumbnail
  image FILE OUT.png          a picture, turned upright as it says itself: JPEG, PNG, WebP, TIFF, HEIC
  album FILE OUT              an image of an album as a screen gets it: its metadata stamped, the picture untouched;
                              what cannot be stamped (all but JPEG, PNG, WebP, TIFF) is written as it is
    --orientation 1..8        to be told with it (the picture's own)

Global options, before the command
  --backend host|simulated    real inputs (default), or a scripted phone on virtual time
  --back INPUT, --front INPUT what the back and the front camera see:
                                a video file          clip.mp4        plays in a loop at its own pace
                                a camera              /dev/video0
                                a URL or FFmpeg input rtsp://...  lavfi:testsrc2
                                a test pattern        test:720p  test:1080p  test:640x480@60
                              without --back: the first V4L2 camera, else test:720p
  --preset photo|none         the camera's largest format, or its best for video (photo; record: none)
  --device-orientation O      how the device is held (portrait); also landscapeLeft, landscapeRight,
                              portraitUpsideDown, faceUp, faceDown, unknown
  --interface-orientation O   how the device is held when the interface is upright (portrait); live frames are
                              turned to it, stills and movies carry it as a tag. landscapeRight: home side at the right
  --sensor-orientation O      how the device is held when the stored pictures of its cameras are upright (portrait)
  --json                      one JSON object a line on standard output, and nothing else there
  --out DIR                   where pictures are saved (the current folder)

Signals: SIGUSR1 sends the application to the background, SIGUSR2 brings it back.
Exit status: 0 done; 1 an error event, or less than was asked for; 2 wrong usage or an input that cannot be
used; 130 interrupted.

Examples
  tamsel-capture --back /dev/video0 capture out --motion walk.csv --require still,tilted,code:pdf417
  tamsel-capture --back clip.mp4 frames --count 60 --contact-sheet sheet.png
  tamsel-capture --front /dev/video0 --json frames --camera front --seconds 5
  tamsel-capture motion walk.csv --plot walk.svg
  tamsel-capture --back clip.mp4 still photo.jpg --location 52.52,13.40,34 --heading 45
  tamsel-capture detect shelf.jpg --annotate shelf.png
  tamsel-capture --json detect /dev/video0 --kinds ean13,qr --seconds 30
  tamsel-capture asset clip.mp4 --fast --contact-sheet sheet.png
)";
}

} // namespace tamsel::capture
