#include "worker/streamAnswers.h"

#include <string>

#include "hostkit/formats/jsonLines.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

class StreamAnswers final : public Answering {
 public:
  StreamAnswers(const AnswerOptions& options, const TrackerRecipe& recipe, const std::string& state)
      : parser(parseJsonLines(options.read, "Redis")),
        answers(options, recipe, associationsOf(options, std::nullopt), kJsonLines) {
    if (!state.empty()) answers.restoreState(state);
  }

  std::string_view answer(const Entry& entry) override {
    padded.assign(entry.line).append(kJsonMargin, '\0');
    const std::string_view line(padded.data(), entry.line.size());
    parser->read({line, entry.number, entry.usualCamera}, record);
    return take(entry);
  }

  std::string_view refuse(const Entry& entry, const std::string& reason) override {
    record = BadLine{entry.number, "", reason};
    return take(entry);
  }

  bool hasRefused() const override { return isRefused; }

  std::string save() const override {
    std::string state;
    answers.saveState(state);
    return state;
  }

 private:
  std::string_view take(const Entry& entry) {
    isRefused = answers.take(record, entry.number).fault.has_value();
    return answers.text();
  }

  std::unique_ptr<JsonLineParser> parser;
  Answers answers;
  Record record;
  std::string padded;
  bool isRefused = false;
};

}  // namespace

MakeAnswering answerAsStream(const AnswerOptions& options, const TrackerRecipe& recipe) {
  const auto make = [&options, &recipe](const std::string& state) {
    return std::make_unique<StreamAnswers>(options, recipe, state);
  };
  make("")->save();  // refuses what no stream can be answered by, and no state be stored of
  return make;
}

}  // namespace nivra::worker
