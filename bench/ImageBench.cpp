// Converts one picture file to a JPEG on standard output, as "Image of Photo" does. A separate program, so
// that image_peers.py can compare its time and memory with those of other programs.
//
//     image-bench FILE
#include <unistd.h>

#include "pictures/codec/PictureDecoder.h"
#include "platform/files/FileReader.h"
#include "platform/process/ChildProcess.h"

int main(int count, char** words) {
  if (count != 2) return 2;
  moxtel::SystemProcessRunner processes;
  moxtel::PictureDecoder decoder(processes);
  const auto jpeg = decoder.jpegOf(moxtel::openRegularFile(words[1]));
  if (!jpeg) return 1;
  for (std::size_t done = 0; done < jpeg->size();) {
    const ssize_t written = ::write(STDOUT_FILENO, jpeg->data() + done, jpeg->size() - done);
    if (written <= 0) return 1;
    done += static_cast<std::size_t>(written);
  }
  return 0;
}
