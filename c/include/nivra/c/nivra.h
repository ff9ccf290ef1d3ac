/**
 * @file
 * The trackers in C99, from a shared library of its own (libnivra_c).
 *
 * - Handles are opaque, and everything that crosses the boundary is owned by the caller: nothing that one side
 * allocates is freed by the other. Texts that functions return as `const char*` are kept by the library.
 * - Structs that callers fill begin with their size, and arrays are handed over with that of their elements, so that
 *   programs which were built with an older header go on to run. Start from the initialisers, such as
 *   NIVRA_OPTIONS_INIT; members behind those that the caller's header has keep their defaults.
 * - Every function returns at once with a status; no exception leaves the library. What is wrong with a call is told by
 *   nivra_tracker_error. A call that is refused changes nothing.
 * - A tracker is of one thread at a time; different trackers may be on different threads.
 *
 * The picture spans -1 to 1 on both axes and y grows upward. Scores are percent, times nanoseconds.
 */
#ifndef NIVRA_C_NIVRA_H
#define NIVRA_C_NIVRA_H

#include <stddef.h>
#include <stdint.h>

/** Shows a name to callers. */
#define NIVRA_C_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** What became of a call. */
typedef enum nivra_status {
  NIVRA_OK = 0,
  NIVRA_INVALID_ARGUMENT = 1, /**< Nothing has changed; nivra_tracker_error says what is wrong. */
  NIVRA_BUFFER_TOO_SMALL = 2, /**< Nothing was written but the count, which says how many elements there are. */
  NIVRA_OUT_OF_MEMORY = 3,    /**< The frame is lost; the tracker stays usable. */
  NIVRA_INTERNAL_ERROR = 4    /**< A defect of the library. */
} nivra_status;

/** Which tracker; parameters tell of each what it reads. */
typedef enum nivra_kind {
  NIVRA_VANILLA = 0, /**< Anything that moves; motion and box size alone. */
  NIVRA_REID = 1,    /**< People with appearance features; who comes back keeps the identity. */
  NIVRA_HYBRID = 2,  /**< The label "human" to re-identification, all else to vanilla. */
  NIVRA_LOWFPS = 3   /**< Cameras that deliver frames rarely. */
} nivra_kind;

/** A camera's tracker. */
typedef struct nivra_tracker nivra_tracker;

/** A parameter and its value. */
typedef struct nivra_parameter {
  const char* key;   /**< Such as "vanilla.scoreAbsorption". */
  const char* value; /**< As text. */
} nivra_parameter;

/** Lets tracks of a label take detections of another one. */
typedef struct nivra_association {
  int32_t track_label;     /**< Position among the labels. */
  int32_t detection_label; /**< Likewise. */
} nivra_association;

/** How a tracker is made. */
typedef struct nivra_options {
  size_t size;                           /**< Of this struct. */
  int32_t kind;                          /**< A nivra_kind. */
  float aspect_ratio;                    /**< Picture width divided by height. */
  const char* const* labels;             /**< Names of the classes; elsewhere they are positions in this list. */
  size_t label_count;                    /**< At least 1; the names differ. */
  const nivra_association* associations; /**< Besides, every label takes itself. */
  size_t association_count;              /**< How many. */
  const char* preset;                    /**< A name of nivra_preset_name, or null. */
  const nivra_parameter* parameters;     /**< After the preset's; of several for one key the last one holds. */
  size_t parameter_count;                /**< How many. */
  int32_t stabilise; /**< Not 0 to estimate the camera's movement from the detections, until one is told. */
} nivra_options;

/** A vanilla tracker of wide pictures with defaults; labels are still to be told. */
#define NIVRA_OPTIONS_INIT \
  { sizeof(nivra_options), NIVRA_VANILLA, 16.0F / 9.0F, NULL, 0, NULL, 0, NULL, NULL, 0, 0 }

/** A box in the picture; right > left, top > bottom. It may reach beyond the picture. */
typedef struct nivra_box {
  float left;   /**< x of the left edge. */
  float top;    /**< y of the top edge. */
  float right;  /**< x of the right edge. */
  float bottom; /**< y of the bottom edge. */
} nivra_box;

/** A class hypothesis. */
typedef struct nivra_classification {
  int32_t label; /**< Position among the labels. */
  float score;   /**< Percent. */
} nivra_classification;

/** One scored value of one attribute; what the numbers stand for is the caller's business. */
typedef struct nivra_attribute {
  int32_t type;  /**< Of the attribute. */
  int32_t value; /**< One of those that it may have. */
  float score;   /**< In the caller's own unit. */
} nivra_attribute;

/** One object, as a detector found it. */
typedef struct nivra_detection {
  nivra_box box;                               /**< Where it is. */
  float score;                                 /**< Percent. */
  float objectness;                            /**< Percent; 0 for none. */
  int32_t label;                               /**< Position among the labels. */
  int32_t id;                                  /**< The caller's name of the detection, as reports tell it. */
  const nivra_classification* classifications; /**< Null for the label with its score. */
  size_t classification_count;                 /**< How many. */
  const nivra_attribute* attributes;           /**< May be null if there are none. */
  size_t attribute_count;                      /**< How many. */
  const float* feature;                        /**< Appearance; null for none. */
  size_t feature_length;                       /**< The same for all detections of a camera. */
} nivra_detection;

/** All detections of one camera at one time. */
typedef struct nivra_frame {
  size_t size;                       /**< Of this struct. */
  uint64_t timestamp;                /**< Nanoseconds, newer than that of the frame before. */
  const nivra_detection* detections; /**< May be null if there are none. */
  size_t detection_count;            /**< How many. */
  size_t detection_size;             /**< sizeof(nivra_detection). */
} nivra_frame;

/** A frame at time 0 without detections. */
#define NIVRA_FRAME_INIT \
  { sizeof(nivra_frame), 0, NULL, 0, sizeof(nivra_detection) }

/** A track, as nivra_tracker_tracks reports it. */
typedef struct nivra_track {
  nivra_box box;     /**< Filtered, each coordinate clamped to -1 to 1. */
  float velocity_x;  /**< Of the centre, picture units per second. */
  float velocity_y;  /**< Upward. */
  float score;       /**< Smoothed score of the label, percent. */
  int32_t label;     /**< Current class. */
  int32_t id;        /**< Identity, stable for the track's life; never negative. */
  int32_t detection; /**< The id of the detection that it took last; -1 after a frame in which it took none. */
  int32_t confident; /**< 1 once it is confirmed, else 0. */
} nivra_track;

/** Who was recognised with a frame. */
typedef struct nivra_merge {
  int32_t gone; /**< Identity that ended. */
  int32_t kept; /**< Older identity that took its place. */
} nivra_merge;

/** What is known of a parameter. */
typedef struct nivra_parameter_info {
  size_t size;               /**< Of this struct. */
  const char* section;       /**< The key is section, dot and name. */
  const char* name;          /**< Within the section. */
  const char* default_value; /**< As text. */
  const char* unit;          /**< Empty for plain numbers. */
  const char* meaning;       /**< What the value stands for. */
  const char* pull;          /**< What a larger value does. */
  double least;              /**< What each number may be. Lists of classes have no range: all four are 0. */
  double most;               /**< Upper end of that. */
  double usual_least;        /**< Where good values are found. */
  double usual_most;         /**< Upper end of that. */
} nivra_parameter_info;

/** To be filled in. */
#define NIVRA_PARAMETER_INFO_INIT \
  { sizeof(nivra_parameter_info), NULL, NULL, NULL, NULL, NULL, NULL, 0.0, 0.0, 0.0, 0.0 }

/** The release of the library that runs, such as "0.1.0". */
NIVRA_C_EXPORT const char* nivra_version(void);

/**
 * Makes a tracker.
 * @param tracker Takes it; null if there is none.
 * @param error If not null, takes what is wrong, cut to error_size characters, the end of the text included.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_create(const nivra_options* options, nivra_tracker** tracker, char* error,
                                                 size_t error_size);

/** Lets a tracker go; null is none. */
NIVRA_C_EXPORT void nivra_tracker_destroy(nivra_tracker* tracker);

/** What was wrong with the last call that was refused, until the next one; empty if there was none. */
NIVRA_C_EXPORT const char* nivra_tracker_error(const nivra_tracker* tracker);

/**
 * Takes in one frame. A time that is not newer is refused, as are a feature of another length than those before and
 * scores that are not numbers.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_update(nivra_tracker* tracker, const nivra_frame* frame);

/**
 * Takes in frames of several cameras, one each.
 * @param statuses If not null, takes what became of each.
 * @return The first status that isn't NIVRA_OK. All other frames are taken in even so.
 */
NIVRA_C_EXPORT nivra_status nivra_update_batch(nivra_tracker* const* trackers, const nivra_frame* const* frames,
                                               size_t count, nivra_status* statuses);

/**
 * Tells that the camera has moved: what was at (x, y) is now at (ax + by + c, dx + ey + f).
 * @param map The finite numbers a to f.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_move(nivra_tracker* tracker, const float map[6]);

/**
 * The current tracks, oldest first.
 * @param tracks May be null if capacity is 0.
 * @param track_size sizeof(nivra_track).
 * @param count Takes how many there are.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_tracks(nivra_tracker* tracker, nivra_track* tracks, size_t track_size,
                                                 size_t capacity, size_t* count);

/** The class hypotheses of a track with smoothed scores, best first; track is its position in nivra_tracker_tracks. */
NIVRA_C_EXPORT nivra_status nivra_tracker_classifications(nivra_tracker* tracker, size_t track,
                                                          nivra_classification* classifications, size_t capacity,
                                                          size_t* count);

/** The smoothed attributes of a track, likewise: by type, within it best score first. */
NIVRA_C_EXPORT nivra_status nivra_tracker_attributes(nivra_tracker* tracker, size_t track, nivra_attribute* attributes,
                                                     size_t capacity, size_t* count);

/** Identities that ended with the last frame, ascending. */
NIVRA_C_EXPORT nivra_status nivra_tracker_removed(nivra_tracker* tracker, int32_t* ids, size_t capacity, size_t* count);

/** Who was recognised with the last frame. */
NIVRA_C_EXPORT nivra_status nivra_tracker_merged(nivra_tracker* tracker, nivra_merge* merges, size_t capacity,
                                                 size_t* count);

/** What a reason is about. */
typedef enum nivra_subject {
  NIVRA_IN_BETWEEN = 0, /**< Whether a detection lies between two others. */
  NIVRA_PAIR = 1,       /**< Whether a track takes a detection. */
  NIVRA_REVIVAL = 2,    /**< Whether a young track takes the place of a lost one. */
  NIVRA_CHANGE = 3      /**< What became of a track. */
} nivra_subject;

/** Something that was decided in a frame. What a subject doesn't have is -1. */
typedef struct nivra_reason {
  int32_t subject;         /**< A nivra_subject. */
  int32_t track;           /**< Identity; of a revival the lost one. */
  int32_t other;           /**< The track that would revive it, or that a change has to do with. */
  int32_t detection;       /**< The caller's id of the detection. */
  int32_t neighbours[2];   /**< Likewise, of the two that it may lie between. */
  int32_t rival_track;     /**< Of the pair that won, if another one did. */
  int32_t rival_other;     /**< Likewise, of a revival. */
  int32_t rival_detection; /**< Likewise, of a pair. */
  float cost;              /**< What decides among those that passed all rules, the lower the better; else not a number. */
  const char* outcome;     /**< "between", "apart"; "refused", "outbid", "matched"; "none", "began", "confirmed",
                                "identified", "lost", "revived", "merged", "ended". */
  size_t verdict_count;    /**< How many rules had a say. */
} nivra_reason;

/** What a rule said. */
typedef struct nivra_verdict {
  const char* rule;      /**< Its name, such as "widthChange". */
  const char* parameter; /**< That sets the limit, such as "vanilla.widthRelativeDiffGating"; empty where none does. */
  double figure;         /**< What was compared. */
  double limit;          /**< With this. */
  int32_t holds;         /**< 1 if the figure keeps to the limit, else 0. */
} nivra_verdict;

/**
 * Has the reasons of every later frame kept, at the cost of trying each track with each detection; the tracks stay the
 * same.
 * @param on 0 to end it.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_explain(nivra_tracker* tracker, int32_t on);

/**
 * What was decided in the last frame: in-betweens, pairs of a track and a detection that are near enough to matter,
 * revivals, and what became of each track.
 * @param reasons May be null if capacity is 0.
 * @param reason_size sizeof(nivra_reason).
 * @param count Takes how many there are.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_reasons(nivra_tracker* tracker, nivra_reason* reasons, size_t reason_size,
                                                  size_t capacity, size_t* count);

/** The rules behind a reason, in the order in which they count; reason is its position in nivra_tracker_reasons. */
NIVRA_C_EXPORT nivra_status nivra_tracker_verdicts(nivra_tracker* tracker, size_t reason, nivra_verdict* verdicts,
                                                   size_t verdict_size, size_t capacity, size_t* count);

/**
 * A reason as a sentence, such as "id 4 refused detection 7: width changed by 2.37 of itself, at most 1
 * (vanilla.widthRelativeDiffGating)".
 * @param count Takes how many characters that are, the end of the text included.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_sentence(nivra_tracker* tracker, size_t reason, char* text, size_t capacity,
                                                   size_t* count);

/**
 * All that later frames depend on, as bytes for nivra_tracker_restore, here or on another machine; changes nothing.
 * @param state May be null if capacity is 0.
 * @param count Takes how many bytes there are.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_save(nivra_tracker* tracker, void* state, size_t capacity, size_t* count);

/**
 * Makes a tracker that goes on from what another one saved, to the last bit.
 * @param options Those of the tracker that saved it; whether the camera's movement is estimated is told by the state.
 * @param state Bytes that are damaged, cut or of other options are refused.
 * @param tracker Takes it; null if there is none.
 * @param error As nivra_tracker_create has it.
 */
NIVRA_C_EXPORT nivra_status nivra_tracker_restore(const nivra_options* options, const void* state, size_t state_size,
                                                  nivra_tracker** tracker, char* error, size_t error_size);

/** Takes the text of a fault inside of a frame, on the thread of that frame; must not call the tracker. */
typedef void (*nivra_fault_handler)(const char* message, void* user_data);

/** Hands the faults of all trackers of the process to a function; null restores the system log and standard error. */
NIVRA_C_EXPORT nivra_status nivra_set_fault_handler(nivra_fault_handler handler, void* user_data);

/** How many parameters a kind of tracker reads; 0 for any other number. */
NIVRA_C_EXPORT size_t nivra_parameter_count(int32_t kind);

/** One of them, from 0. */
NIVRA_C_EXPORT nivra_status nivra_parameter_describe(int32_t kind, size_t index, nivra_parameter_info* info);

/** How many presets there are. */
NIVRA_C_EXPORT size_t nivra_preset_count(void);

/** The name of one, from 0; null beyond them. */
NIVRA_C_EXPORT const char* nivra_preset_name(size_t index);

#ifdef __cplusplus
}
#endif

#endif
