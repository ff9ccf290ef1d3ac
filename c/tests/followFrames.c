/* Tracks the frames of a file that sameTracks.py wrote, and prints every bit of what comes out; followFrames.cpp does the
 * same in C++. usage: nivra_follow_c KIND FRAMES ASPECT_RATIO */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "nivra/c/nivra.h"

static const char* const kLabels[] = {"human"};

static nivra_detection* read_frame(FILE* file, nivra_frame* frame) {
  uint64_t head[2];
  nivra_detection* detections;
  size_t i;
  if (fread(head, sizeof head, 1, file) != 1) return NULL;
  detections = calloc(head[1] + 1, sizeof *detections);
  for (i = 0; i < head[1]; ++i) {
    float numbers[5];
    if (fread(numbers, sizeof numbers, 1, file) != 1) exit(1);
    memcpy(&detections[i].box, numbers, sizeof detections[i].box);
    detections[i].score = numbers[4];
    detections[i].id = (int32_t)i;
  }
  frame->timestamp = head[0];
  frame->detections = detections;
  frame->detection_count = head[1];
  return detections;
}

static void print_tracks(nivra_tracker* tracker, int number) {
  static nivra_track tracks[4096];
  size_t count, i;
  if (nivra_tracker_tracks(tracker, tracks, sizeof tracks[0], 4096, &count) != NIVRA_OK) exit(1);
  for (i = 0; i < count; ++i) {
    const nivra_track* const t = &tracks[i];
    printf("%d %d %d %d %a %a %a %a %a %a %a\n", number, t->id, t->detection, t->confident, (double)t->box.left,
           (double)t->box.top, (double)t->box.right, (double)t->box.bottom, (double)t->velocity_x,
           (double)t->velocity_y, (double)t->score);
  }
}

int main(int argc, char** argv) {
  nivra_options options = NIVRA_OPTIONS_INIT;
  nivra_tracker* tracker = NULL;
  nivra_frame frame = NIVRA_FRAME_INIT;
  nivra_detection* detections;
  FILE* const file = argc == 4 ? fopen(argv[2], "rb") : NULL;
  int number = 0;
  if (file == NULL) return 2;
  options.kind = atoi(argv[1]);
  options.aspect_ratio = strtof(argv[3], NULL);
  options.labels = kLabels;
  options.label_count = 1;
  if (nivra_tracker_create(&options, &tracker, NULL, 0) != NIVRA_OK) return 1;
  while ((detections = read_frame(file, &frame)) != NULL) {
    if (nivra_tracker_update(tracker, &frame) != NIVRA_OK) return 1;
    free(detections);
    print_tracks(tracker, number++);
  }
  nivra_tracker_destroy(tracker);
  fclose(file);
  return 0;
}
