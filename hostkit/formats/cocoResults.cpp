#include "hostkit/formats/cocoResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/jsonReading.h"

namespace nivra::hostkit {

namespace {

constexpr Range<std::int64_t> kIds = {0, std::numeric_limits<std::int64_t>::max()};

/// Whole numbers and strings name images.
struct ImageId {
  std::string text;
  std::optional<std::int64_t> number;
};

struct Result {
  std::optional<ImageId> image;
  std::optional<std::int64_t> category;
  std::optional<PixelBox> box;
  std::optional<double> score;
};

struct Image {
  std::optional<ImageId> id;
  std::string file;
  int width = 0;
  int height = 0;
};

struct Category {
  std::optional<std::int64_t> id;
  std::string name;
};

/// All that a file holds; one of results holds only these.
struct Dataset {
  std::vector<Result> results;
  std::vector<Image> images;
  CategoryNames categories;
};

ImageId readId(dom::element value, const JsonPlace& place) {
  if (value.is_string()) return {std::string(stringOf(value, place)), std::nullopt};
  const std::int64_t number = numberOf(value, kIds, place);
  return {std::to_string(number), number};
}

constexpr std::array<JsonField<Result>, 4> kResultFields = {{
    {"image_id",
     [](dom::element value, const JsonPlace& place, Result& result) { result.image = readId(value, place); }},
    {"category_id", readNumber<&Result::category, kIds>},
    {"bbox",
     [](dom::element value, const JsonPlace& place, Result& result) {
       const auto [left, top, width, height] = numbersOf<double, 4>(value, kCoordinates, place);
       if (width < 0.0 || height < 0.0) refuse(place, "width or height is negative");
       result.box = PixelBox{left, top, width, height};
     }},
    {"score", readNumber<&Result::score, kCoordinates>},
}};

constexpr std::array<JsonField<Image>, 4> kImageFields = {{
    {"id", [](dom::element value, const JsonPlace& place, Image& image) { image.id = readId(value, place); }},
    {"file_name",
     [](dom::element value, const JsonPlace& place, Image& image) { image.file = stringOf(value, place); }},
    {"width", readNumber<&Image::width, kPictureSides>},
    {"height", readNumber<&Image::height, kPictureSides>},
}};

constexpr std::array<JsonField<Category>, 2> kCategoryFields = {{
    {"id", readNumber<&Category::id, kIds>},
    {"name",
     [](dom::element value, const JsonPlace& place, Category& category) { category.name = stringOf(value, place); }},
}};

void readResults(dom::element list, const JsonPlace& place, Dataset& dataset) {
  readEach(list, place, kResultFields, [&](Result result, const JsonPlace& here) {
    if (!result.image) refuse(JsonPlace(here, "image_id"), "missing");
    if (!result.category) refuse(JsonPlace(here, "category_id"), "missing");
    if (!result.box) refuse(JsonPlace(here, "bbox"), "missing");
    dataset.results.push_back(std::move(result));
  });
}

constexpr std::array<JsonField<Dataset>, 4> kDatasetFields = {{
    {"annotations", readResults},
    {"instances", readResults},
    {"images",
     [](dom::element list, const JsonPlace& place, Dataset& dataset) {
       readEach(list, place, kImageFields, [&](Image image, const JsonPlace& here) {
         if (!image.id) refuse(JsonPlace(here, "id"), "missing");
         dataset.images.push_back(std::move(image));
       });
     }},
    {"categories",
     [](dom::element list, const JsonPlace& place, Dataset& dataset) {
       readEach(list, place, kCategoryFields, [&](Category category, const JsonPlace& here) {
         if (!category.id) refuse(JsonPlace(here, "id"), "missing");
         if (!category.name.empty()) dataset.categories[*category.id] = std::move(category.name);
       });
     }},
}};

Dataset readDataset(const std::string& path) {
  Dataset dataset;
  readJsonFile(path, kCocoResults.name, [&](dom::element whole) {
    const JsonPlace outermost;
    if (whole.is_object()) {
      readFields(objectOf(whole, outermost), outermost, kDatasetFields, dataset);
    } else {
      readResults(whole, outermost, dataset);
    }
  });
  return dataset;
}

/// The size that all pictures have, unless the caller says it.
std::optional<PictureSize> pictureOf(const Dataset& dataset, const std::string& path, const ReadSettings& settings) {
  if (settings.picture) return settings.picture;
  std::optional<PictureSize> picture;
  for (std::size_t i = 0; i < dataset.images.size(); ++i) {
    const auto& [id, file, width, height] = dataset.images[i];
    if (width == 0 || height == 0) continue;
    if (picture && (picture->width != width || picture->height != height)) {
      failAt(shownName(path), 0, fmt::format("images[{}]", i), "of another size than those before it");
    }
    picture = PictureSize{width, height};
  }
  return picture;
}

using Frames = std::map<std::string, int>;

/// Of images by the names of their files, or else by their ids.
Frames framesOf(const std::vector<Image>& images) {
  std::vector<std::string> names;
  for (const Image& each : images) {
    names.push_back(each.file.empty() ? each.id->text : std::filesystem::path(each.file).stem().string());
  }
  const std::vector<int> numbers = frameNumbersOf(names);
  Frames frames;
  for (std::size_t i = 0; i < images.size(); ++i) frames.emplace(images[i].id->text, numbers[i]);
  return frames;
}

/// Of ids without images: as far from the least number as they are, or by what texts say.
Frames framesOf(const std::vector<Result>& results, const std::string& path) {
  Frames frames;
  std::int64_t first = kIds.most;
  for (const Result& each : results) first = std::min(first, each.image->number.value_or(-1));
  for (std::size_t i = 0; i < results.size(); ++i) {
    const auto& [text, number] = *results[i].image;
    if (first >= 0 && *number - first >= kMostFrames) {
      failAt(shownName(path), 0, fmt::format("[{}].image_id", i),
             fmt::format("more than {} after the first", kMostFrames));
    }
    frames.emplace(text, first >= 0 ? static_cast<int>(*number - first + 1) : 0);
  }
  if (first >= 0) return frames;
  std::vector<std::string> names;
  for (const auto& [text, frame] : frames) names.push_back(text);
  const std::vector<int> numbers = frameNumbersOf(names);
  for (std::size_t i = 0; i < names.size(); ++i) frames[names[i]] = numbers[i];
  return frames;
}

Sequence readSequence(const std::string& path, const ReadSettings& given) {
  if (given.picture) outlineOf(path, given);
  const Dataset dataset = readDataset(path);
  ReadSettings settings = given;
  settings.picture = pictureOf(dataset, path, given);
  Sequence sequence = outlineOf(path, settings);
  const Frames frames = dataset.images.empty() ? framesOf(dataset.results, path) : framesOf(dataset.images);
  for (const auto& [id, frame] : frames) sequence.frameCount = std::max(sequence.frameCount, frame);
  for (const Result& each : dataset.results) {
    const auto frame = frames.find(each.image->text);
    if (frame == frames.end())
      failAt(shownName(path), 0, "images", "none has the id " + hostkit::quoted(each.image->text));
    sequence.add(frame->second, *each.box, labelOf(*each.category, settings, dataset.categories), each.score);
  }
  finishSequence(sequence, path, settings);
  return sequence;
}

bool looksLikeCoco(std::string_view beginning) {
  if (beginsWith('[', beginning)) return true;
  return beginsWith('{', beginning) &&
         hasAnyOf(keysOfFirstObject(beginning), {"images", "annotations", "instances", "categories"});
}

std::unique_ptr<Reader> openResults(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kCocoResults = {"coco", "COCO", looksLikeCoco, openResults};

}  // namespace nivra::hostkit
