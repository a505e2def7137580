/* The least work that a conversion could be: reads a 16-bit recording whole, looks at the sign of
   each sample once and writes forty files of the size of a transfer file. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { headerSize = 44, fileCount = 40, transferFileSize = 690 };

int main(int argc, char** argv) {
  if (argc != 3) {
    return EXIT_FAILURE;
  }
  FILE* recording = fopen(argv[1], "rb");
  if (recording == NULL || fseek(recording, 0, SEEK_END) != 0) {
    return EXIT_FAILURE;
  }
  const size_t size = (size_t)ftell(recording);
  rewind(recording);
  char* bytes = malloc(size);
  if (bytes == NULL || fread(bytes, 1, size, recording) != size) {
    return EXIT_FAILURE;
  }
  fclose(recording);

  const int16_t* samples = (const int16_t*)(bytes + headerSize);
  const size_t count = (size - headerSize) / sizeof *samples;
  int positives = 0;
  for (size_t i = 0; i < count; ++i) {
    positives += samples[i] > 0;
  }
  printf("%d\n", positives);

  for (int i = 0; i < fileCount; ++i) {
    char path[4096];
    snprintf(path, sizeof path, "%s/preset%d-%d.txt", argv[2], i / 8 + 1, i % 8 + 1);
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
      return EXIT_FAILURE;
    }
    fwrite(bytes, 1, transferFileSize, file);
    fclose(file);
  }
  free(bytes);
  return EXIT_SUCCESS;
}
