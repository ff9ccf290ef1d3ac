/* What the C interface promises: statuses, sizes, buffers, and that nothing is taken from or left to the caller. */

#include <math.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "nivra/c/nivra.h"

static int failures = 0;

#define EXPECT(condition)                                              \
  do {                                                                 \
    if (!(condition)) {                                                \
      printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);   \
      ++failures;                                                      \
    }                                                                  \
  } while (0)

#define COUNT(array) (sizeof(array) / sizeof((array)[0]))

static const uint64_t kDuration = 40000000; /* ns */
static const char* const kLabels[] = {"person", "car"};

static nivra_options usual_options(void) {
  nivra_options options = NIVRA_OPTIONS_INIT;
  options.labels = kLabels;
  options.label_count = COUNT(kLabels);
  return options;
}

static nivra_tracker* made(const nivra_options* options) {
  nivra_tracker* tracker = NULL;
  char error[200];
  if (nivra_tracker_create(options, &tracker, error, sizeof error) != NIVRA_OK) {
    printf("no tracker: %s\n", error);
    ++failures;
  }
  return tracker;
}

static nivra_detection detection_at(float x) {
  nivra_detection detection;
  memset(&detection, 0, sizeof detection);
  detection.box.left = x - 0.05F;
  detection.box.right = x + 0.05F;
  detection.box.top = 0.2F;
  detection.box.bottom = -0.2F;
  detection.score = 90.0F;
  detection.id = 7;
  return detection;
}

static nivra_frame frame_of(const nivra_detection* detections, size_t count, uint64_t number) {
  nivra_frame frame = NIVRA_FRAME_INIT;
  frame.timestamp = number * kDuration;
  frame.detections = detections;
  frame.detection_count = count;
  return frame;
}

static void options_that_make_no_tracker(void) {
  static const char* const with_null[] = {"person", NULL};
  static const char* const alike[] = {"car", "car"};
  static const nivra_parameter unknown = {"vanilla.absorption", "1"};
  static const nivra_parameter without_value = {"vanilla.scoreAbsorption", NULL};
  static const nivra_association beyond = {0, 2};
  struct {
    nivra_options options;
    const char* error;
  } cases[12];
  size_t i;
  for (i = 0; i < COUNT(cases); ++i) cases[i].options = usual_options();
  cases[0].options.size = 0, cases[0].error = "size";
  cases[1].options.kind = 4, cases[1].error = "kind";
  cases[2].options.aspect_ratio = NAN, cases[2].error = "aspect_ratio";
  cases[3].options.label_count = 0, cases[3].error = "labels";
  cases[4].options.labels = with_null, cases[4].error = "labels";
  cases[5].options.labels = alike, cases[5].error = "alike";
  cases[6].options.parameters = &unknown, cases[6].options.parameter_count = 1, cases[6].error = "vanilla.absorption=1";
  cases[7].options.parameters = &without_value, cases[7].options.parameter_count = 1, cases[7].error = "null";
  cases[8].options.parameter_count = 1, cases[8].error = "parameters are null";
  cases[9].options.associations = &beyond, cases[9].options.association_count = 1, cases[9].error = "associations";
  cases[10].options.preset = "no such", cases[10].error = "preset";
  cases[11].options.size = offsetof(nivra_options, parameters) + 4, cases[11].error = "size"; /* half a pointer */
  for (i = 0; i < COUNT(cases); ++i) {
    nivra_tracker* tracker = (nivra_tracker*)&failures;
    char error[200] = "";
    char cut[8];
    EXPECT(nivra_tracker_create(&cases[i].options, &tracker, error, sizeof error) == NIVRA_INVALID_ARGUMENT);
    EXPECT(tracker == NULL);
    if (strstr(error, cases[i].error) == NULL) printf("case %d says: %s\n", (int)i, error), ++failures;
    EXPECT(nivra_tracker_create(&cases[i].options, &tracker, cut, sizeof cut) == NIVRA_INVALID_ARGUMENT);
    EXPECT(strlen(cut) == sizeof cut - 1 && memcmp(cut, error, sizeof cut - 1) == 0);
  }
  EXPECT(nivra_tracker_create(NULL, NULL, NULL, 0) == NIVRA_INVALID_ARGUMENT);
}

static void frames_that_are_refused(void) {
  const nivra_options options = usual_options();
  nivra_tracker* const tracker = made(&options);
  static const float feature[] = {1.0F, 0.0F};
  static const nivra_classification classification = {2, 50.0F}, no_score = {1, NAN};
  static const nivra_attribute no_attribute_score = {1, 2, NAN};
  nivra_detection good = detection_at(0.0F);
  nivra_detection bad[10];
  nivra_track before[2], after[2];
  size_t count, i;
  nivra_frame frame = frame_of(&good, 1, 5);
  good.feature = feature;
  good.feature_length = 2;
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  EXPECT(nivra_tracker_tracks(tracker, before, sizeof before[0], COUNT(before), &count) == NIVRA_OK && count == 1);
  EXPECT(strcmp(nivra_tracker_error(tracker), "") == 0);

  for (i = 0; i < COUNT(bad); ++i) bad[i] = good;
  bad[0].label = 2;
  bad[1].label = -1;
  bad[2].feature_length = 1;
  bad[3].feature = NULL;
  bad[4].attribute_count = 1;
  bad[5].classifications = &classification, bad[5].classification_count = 1;
  bad[6].score = NAN;
  bad[7].objectness = NAN;
  bad[8].classifications = &no_score, bad[8].classification_count = 1;
  bad[9].attributes = &no_attribute_score, bad[9].attribute_count = 1;
  for (i = 0; i < COUNT(bad); ++i) {
    frame = frame_of(&bad[i], 1, 6);
    EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_INVALID_ARGUMENT);
    EXPECT(strstr(nivra_tracker_error(tracker), "detections: ") == nivra_tracker_error(tracker));
  }
  frame = frame_of(&good, 1, 5);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_INVALID_ARGUMENT);
  EXPECT(strstr(nivra_tracker_error(tracker), "timestamp") != NULL);
  frame = frame_of(NULL, 1, 6);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_INVALID_ARGUMENT);
  frame = frame_of(&good, 1, 6);
  frame.detection_size = 8;
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_INVALID_ARGUMENT);
  frame.detection_size = offsetof(nivra_detection, feature) + 4;
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_update(tracker, NULL) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_update(NULL, &frame) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_tracks(tracker, after, sizeof after[0], COUNT(after), &count) == NIVRA_OK && count == 1);
  EXPECT(memcmp(before, after, sizeof before[0]) == 0);
  frame = frame_of(&good, 1, 6);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  nivra_tracker_destroy(tracker);
  nivra_tracker_destroy(NULL);
}

/* Programs that were built with a header that has less, or more. */
static void structs_of_other_sizes(void) {
  struct {
    nivra_detection known;
    double more;
  } newer[3];
  struct {
    nivra_track known;
    int more;
  } tracks[3];
  nivra_options options = usual_options();
  nivra_tracker* tracker;
  nivra_frame frame = NIVRA_FRAME_INIT;
  size_t count, i;
  options.size = offsetof(nivra_options, preset);
  options.preset = (const char*)1; /* isn't looked at */
  tracker = made(&options);
  for (i = 0; i < COUNT(newer); ++i) newer[i].known = detection_at(-0.5F + 0.5F * (float)i);
  frame.timestamp = 1;
  frame.detections = &newer[0].known;
  frame.detection_count = COUNT(newer);
  frame.detection_size = sizeof newer[0];
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  tracks[2].more = 5;
  EXPECT(nivra_tracker_tracks(tracker, &tracks[0].known, sizeof tracks[0], COUNT(tracks), &count) == NIVRA_OK);
  EXPECT(count == 3 && tracks[2].known.id == 2 && fabsf(tracks[2].known.box.left - 0.45F) < 0.001F);
  EXPECT(tracks[2].more == 5);
  nivra_tracker_destroy(tracker);
}

static void buffers_that_are_too_small(void) {
  const nivra_options options = usual_options();
  nivra_tracker* const tracker = made(&options);
  static const nivra_classification classes[] = {{0, 30.0F}, {1, 60.0F}};
  static const nivra_attribute attributes[] = {{1, 2, 0.5F}, {3, 4, 0.25F}};
  nivra_detection detection = detection_at(0.0F);
  nivra_frame frame = frame_of(&detection, 1, 1);
  nivra_track track;
  nivra_classification found[2];
  nivra_attribute told[2];
  int32_t ids[4];
  size_t count = 99;
  detection.classifications = classes, detection.classification_count = COUNT(classes);
  detection.attributes = attributes, detection.attribute_count = COUNT(attributes);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  EXPECT(nivra_tracker_tracks(tracker, NULL, sizeof track, 0, &count) == NIVRA_BUFFER_TOO_SMALL && count == 1);
  EXPECT(nivra_tracker_tracks(tracker, NULL, sizeof track, 1, &count) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_tracks(tracker, &track, sizeof track, 1, NULL) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_classifications(tracker, 0, found, 1, &count) == NIVRA_BUFFER_TOO_SMALL && count == 2);
  EXPECT(nivra_tracker_classifications(tracker, 0, found, 2, &count) == NIVRA_OK);
  EXPECT(found[0].label == 1 && found[0].score == 60.0F && found[1].label == 0);
  EXPECT(nivra_tracker_attributes(tracker, 0, told, 2, &count) == NIVRA_OK && count == 2);
  EXPECT(told[1].type == 3 && told[1].value == 4 && told[1].score == 0.25F);
  EXPECT(nivra_tracker_classifications(tracker, 1, found, 2, &count) == NIVRA_INVALID_ARGUMENT);
  frame = frame_of(NULL, 0, 200);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  frame = frame_of(NULL, 0, 400);
  EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK);
  EXPECT(nivra_tracker_tracks(tracker, NULL, sizeof track, 0, &count) == NIVRA_OK && count == 0);
  EXPECT(nivra_tracker_removed(tracker, ids, COUNT(ids), &count) == NIVRA_OK && count <= 1);
  EXPECT(nivra_tracker_merged(tracker, NULL, 0, &count) == NIVRA_OK && count == 0);
  nivra_tracker_destroy(tracker);
}

static void several_cameras_and_one_that_moves(void) {
  const nivra_options options = usual_options();
  nivra_tracker* trackers[3];
  static const float to_the_right[6] = {1.0F, 0.0F, 0.5F, 0.0F, 1.0F, 0.0F};
  static const float not_finite[6] = {1.0F, 0.0F, NAN, 0.0F, 1.0F, 0.0F};
  const nivra_detection near = detection_at(-0.25F), far = detection_at(0.25F);
  nivra_frame frames[2];
  const nivra_frame* pointers[3];
  nivra_status statuses[3];
  nivra_track tracks[2];
  size_t count, i;
  uint64_t number;
  for (i = 0; i < 2; ++i) trackers[i] = made(&options);
  trackers[2] = NULL;
  for (number = 1; number <= 10; ++number) {
    for (i = 0; i < 2; ++i) frames[i] = frame_of(&near, 1, number), pointers[i] = &frames[i];
    EXPECT(nivra_update_batch(trackers, pointers, 2, NULL) == NIVRA_OK);
  }
  EXPECT(nivra_tracker_move(trackers[1], to_the_right) == NIVRA_OK);
  EXPECT(nivra_tracker_move(trackers[0], not_finite) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_move(trackers[0], NULL) == NIVRA_INVALID_ARGUMENT);
  for (i = 0; i < 2; ++i) frames[i] = frame_of(&far, 1, number);
  pointers[2] = &frames[0];
  EXPECT(nivra_update_batch(trackers, pointers, 3, statuses) == NIVRA_INVALID_ARGUMENT);
  EXPECT(statuses[0] == NIVRA_OK && statuses[1] == NIVRA_OK && statuses[2] == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_tracks(trackers[0], tracks, sizeof tracks[0], 2, &count) == NIVRA_OK && count == 2);
  EXPECT(nivra_tracker_tracks(trackers[1], tracks, sizeof tracks[0], 2, &count) == NIVRA_OK && count == 1);
  EXPECT(tracks[0].id == 0 && tracks[0].detection == 7);
  EXPECT(nivra_update_batch(NULL, NULL, 1, NULL) == NIVRA_INVALID_ARGUMENT);
  for (i = 0; i < 2; ++i) nivra_tracker_destroy(trackers[i]);
}

/* The position of the first reason about a subject that came to an outcome; beyond all if there is none. */
static size_t reason_of(const nivra_reason* reasons, size_t count, int32_t subject, const char* outcome) {
  size_t i;
  for (i = 0; i < count; ++i) {
    if (reasons[i].subject == subject && strcmp(reasons[i].outcome, outcome) == 0) break;
  }
  return i;
}

static void expect_sentence(nivra_tracker* tracker, size_t reason, const char* expected) {
  char text[300];
  size_t count;
  EXPECT(nivra_tracker_sentence(tracker, reason, NULL, 0, &count) == NIVRA_BUFFER_TOO_SMALL);
  EXPECT(nivra_tracker_sentence(tracker, reason, text, count - 1, &count) == NIVRA_BUFFER_TOO_SMALL);
  EXPECT(nivra_tracker_sentence(tracker, reason, text, count, &count) == NIVRA_OK && strlen(text) + 1 == count);
  if (strstr(text, expected) != text) printf("not %s, but %s\n", expected, text), ++failures;
}

/* Somebody jumps by two widths, and so is somebody else; two trackers side by side make the same of it. */
static void reasons_of_a_frame(void) {
  const nivra_options options = usual_options();
  nivra_tracker* const tracker = made(&options);
  nivra_tracker* const silent = made(&options);
  nivra_reason reasons[9];
  nivra_verdict verdicts[20];
  nivra_track tracks[2][4];
  size_t count, i, refused;
  uint64_t number;
  EXPECT(nivra_tracker_explain(tracker, 1) == NIVRA_OK && nivra_tracker_explain(NULL, 1) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_reasons(tracker, NULL, sizeof reasons[0], 0, &count) == NIVRA_OK && count == 0);
  for (number = 1; number <= 4; ++number) {
    nivra_detection detection = detection_at(number < 4 ? 0.0F : 0.2F);
    const nivra_frame frame = frame_of(&detection, 1, number);
    detection.id = 70 + (int32_t)number;
    EXPECT(nivra_tracker_update(tracker, &frame) == NIVRA_OK && nivra_tracker_update(silent, &frame) == NIVRA_OK);
    EXPECT(nivra_tracker_reasons(tracker, reasons, sizeof reasons[0], COUNT(reasons), &count) == NIVRA_OK);
    if (number == 1) expect_sentence(tracker, reason_of(reasons, count, NIVRA_CHANGE, "began"), "id 0 began with detection 71");
    if (number == 2) {
      i = reason_of(reasons, count, NIVRA_PAIR, "matched");
      EXPECT(i < count && reasons[i].detection == 72 && !isnan(reasons[i].cost) && reasons[i].rival_track == -1);
      expect_sentence(tracker, i, "id 0 took detection 72");
    }
  }
  refused = reason_of(reasons, count, NIVRA_PAIR, "refused");
  EXPECT(refused < count && reasons[refused].track == 0 && reasons[refused].detection == 74 && isnan(reasons[refused].cost));
  expect_sentence(tracker, refused, "id 0 refused detection 74: centre 2 widths to the side, at most 1 (vanilla.widthFactorGating)");
  EXPECT(nivra_tracker_verdicts(tracker, refused, verdicts, sizeof verdicts[0], COUNT(verdicts), &count) == NIVRA_OK);
  EXPECT(count == reasons[refused].verdict_count && count > 1);
  for (i = 0; i + 1 < count && verdicts[i].holds; ++i) continue;
  EXPECT(strcmp(verdicts[i].rule, "horizontalOffset") == 0 && verdicts[i].limit == 1.0 && verdicts[i].figure > 1.9);
  EXPECT(strcmp(verdicts[i].parameter, "vanilla.widthFactorGating") == 0);
  EXPECT(nivra_tracker_reasons(tracker, reasons, sizeof reasons[0], 1, &count) == NIVRA_BUFFER_TOO_SMALL && count > 1);
  EXPECT(nivra_tracker_verdicts(tracker, count, verdicts, sizeof verdicts[0], 1, &i) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_sentence(tracker, count, NULL, 0, &i) == NIVRA_INVALID_ARGUMENT);

  memset(tracks, 0, sizeof tracks);
  EXPECT(nivra_tracker_tracks(tracker, tracks[0], sizeof tracks[0][0], 4, &count) == NIVRA_OK && count == 2);
  EXPECT(nivra_tracker_tracks(silent, tracks[1], sizeof tracks[0][0], 4, &count) == NIVRA_OK && count == 2);
  EXPECT(memcmp(tracks[0], tracks[1], sizeof tracks[0]) == 0);
  EXPECT(nivra_tracker_reasons(silent, NULL, sizeof reasons[0], 0, &count) == NIVRA_OK && count == 0);
  EXPECT(nivra_tracker_explain(tracker, 0) == NIVRA_OK);
  EXPECT(nivra_tracker_reasons(tracker, NULL, sizeof reasons[0], 0, &count) == NIVRA_OK && count == 0);
  nivra_tracker_destroy(tracker);
  nivra_tracker_destroy(silent);
}

static void states_that_are_restored(void) {
  nivra_options options = usual_options();
  nivra_tracker* trackers[2];
  nivra_tracker* none = (nivra_tracker*)&failures;
  static unsigned char state[20000];
  static const char* const fewer[] = {"person"};
  nivra_track tracks[2][4];
  char error[200];
  size_t size, count, i;
  uint64_t number;
  options.stabilise = 1;
  trackers[0] = made(&options);
  for (number = 1; number <= 30; ++number) {
    const nivra_detection detections[2] = {detection_at(0.01F * (float)number), detection_at(-0.5F)};
    const nivra_frame frame = frame_of(detections, 2, number);
    if (number == 15) {
      EXPECT(nivra_tracker_save(trackers[0], state, 10, &size) == NIVRA_BUFFER_TOO_SMALL && size > 10);
      EXPECT(nivra_tracker_save(trackers[0], state, sizeof state, &size) == NIVRA_OK);
      EXPECT(nivra_tracker_restore(&options, state, size, &trackers[1], error, sizeof error) == NIVRA_OK);
      EXPECT(nivra_tracker_tracks(trackers[1], tracks[1], sizeof tracks[1][0], 4, &count) == NIVRA_OK && count == 2);
    }
    for (i = 0; i < (number < 15 ? 1U : 2U); ++i) EXPECT(nivra_tracker_update(trackers[i], &frame) == NIVRA_OK);
  }
  memset(tracks, 0, sizeof tracks);
  for (i = 0; i < 2; ++i) {
    const nivra_frame frame = frame_of(NULL, 0, 30);
    EXPECT(nivra_tracker_tracks(trackers[i], tracks[i], sizeof tracks[i][0], 4, &count) == NIVRA_OK && count == 2);
    EXPECT(nivra_tracker_update(trackers[i], &frame) == NIVRA_INVALID_ARGUMENT); /* the time stands still */
    nivra_tracker_destroy(trackers[i]);
  }
  EXPECT(memcmp(tracks[0], tracks[1], sizeof tracks[0]) == 0);

  state[size / 2] ^= 1U;
  EXPECT(nivra_tracker_restore(&options, state, size, &none, error, sizeof error) == NIVRA_INVALID_ARGUMENT);
  EXPECT(none == NULL && strstr(error, "damaged") != NULL);
  state[size / 2] ^= 1U;
  EXPECT(nivra_tracker_restore(&options, state, size - 1, &none, NULL, 0) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_restore(&options, NULL, size, &none, NULL, 0) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_tracker_restore(NULL, state, size, &none, NULL, 0) == NIVRA_INVALID_ARGUMENT);
  options.kind = NIVRA_REID;
  EXPECT(nivra_tracker_restore(&options, state, size, &none, NULL, 0) == NIVRA_INVALID_ARGUMENT);
  options = usual_options(), options.labels = fewer, options.label_count = COUNT(fewer);
  EXPECT(nivra_tracker_restore(&options, state, size, &none, error, sizeof error) == NIVRA_INVALID_ARGUMENT);
  EXPECT(none == NULL && strstr(error, "label") != NULL);
}

static void count_fault(const char* message, void* user_data) {
  if (strlen(message) > 0) ++*(int*)user_data;
}

/* Two tracks that move as one are told by the low-frame-rate tracker, if their label isn't its own. */
static void faults_and_descriptions(void) {
  int faults = 0;
  size_t i, count = nivra_parameter_count(NIVRA_VANILLA);
  nivra_parameter_info info = NIVRA_PARAMETER_INFO_INIT;
  EXPECT(nivra_set_fault_handler(count_fault, &faults) == NIVRA_OK);
  EXPECT(nivra_set_fault_handler(NULL, NULL) == NIVRA_OK && faults == 0);
  EXPECT(count > 5 && nivra_parameter_count(4) == 0);
  for (i = 0; i < count; ++i) {
    EXPECT(nivra_parameter_describe(NIVRA_VANILLA, i, &info) == NIVRA_OK);
    EXPECT(strncmp(info.section, "vanilla", 7) == 0 && strlen(info.meaning) > 0 && info.least <= info.usual_least);
  }
  EXPECT(nivra_parameter_describe(NIVRA_VANILLA, count, &info) == NIVRA_INVALID_ARGUMENT);
  EXPECT(nivra_parameter_describe(NIVRA_VANILLA, 0, NULL) == NIVRA_INVALID_ARGUMENT);
  for (i = 0; i < nivra_preset_count(); ++i) {
    nivra_options options = usual_options();
    options.preset = nivra_preset_name(i);
    nivra_tracker_destroy(made(&options));
  }
  EXPECT(nivra_preset_count() > 0 && nivra_preset_name(i) == NULL);
  EXPECT(strchr(nivra_version(), '.') != NULL);
}

int main(void) {
  options_that_make_no_tracker();
  frames_that_are_refused();
  structs_of_other_sizes();
  buffers_that_are_too_small();
  several_cameras_and_one_that_moves();
  reasons_of_a_frame();
  states_that_are_restored();
  faults_and_descriptions();
  return failures == 0 ? 0 : 1;
}
