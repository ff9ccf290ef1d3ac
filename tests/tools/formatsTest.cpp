#include <fmt/format.h>

#include "toolRun.h"

namespace nivra::tool::test {

class Formats : public ToolTest {
 protected:
  /// What a folder of such files is read as.
  Outcome converted(const std::vector<std::pair<std::string, std::string>>& files, const std::string& input,
                    const Arguments& options = {}) const {
    for (const auto& [name, text] : files) write("in/" + name, text);
    const Outcome outcome = nivra(Arguments{"convert", path("in/" + input), "--picture", "200x100"} + options);
    std::filesystem::remove_all(path("in"));
    return outcome;
  }
};

/// Detections of the frames, each as "frame: box label score".
std::string shown(const std::string& lines) {
  std::string text;
  int frame = 0;
  for (const std::string& line : splitAt('\n', lines)) {
    ++frame;
    const std::string begin = R"({"box":[)";
    for (auto at = line.find(begin); at != std::string::npos; at = line.find(begin, at + 1)) {
      std::string each = line.substr(at + begin.size(), line.find('}', at) - at - begin.size());
      for (const std::string name : {R"(],"label":")", R"(","score":)"})
        each.replace(each.find(name), name.size(), " ");
      text += fmt::format("{}: {}; ", frame, each);
    }
  }
  return text;
}

const Arguments kFps = {"--fps", "10"};

TEST_F(Formats, AreReadAsDetectorsWriteThem) {
  struct Case {
    std::vector<std::pair<std::string, std::string>> files;
    std::string input;
    std::string expected;
    Arguments options = kFps;
  };
  const std::string kitti = "-1 -1 -10 20 30 40 60 -1 -1 -1 -1000 -1000 -1000 -10";
  const Case cases[] = {
      // YOLO
      {{{"v_2.txt", "0 0.5 0.5 0.2 0.4 0.75\n"}, {"v_10.txt", "7 0.25 0.5 0.1 0.2 0.5\n"}, {"v_3.txt", ""}},
       "",
       "2: 80,30,120,70 0 75; 10: 40,40,60,60 7 50; "},
      {{{"labels/0.txt", "0 0.5 0.5 0.2 0.4 12\n"},
        {"labels/1.txt", "1 0.5 0.5 0.2 0.4 1\n"},
        {"data.yaml", "nc: 2\nnames: ['a man', \"car\"]  # two\n"}},
       "",
       "1: 80,30,120,70 a man 100; 2: 80,30,120,70 car 100; "},
      {{{"a.txt", "0 0.5 0.5 0.2 0.4 0.9 4\n"}, {"b.txt", "1 0.5 0.5 0.2 0.4 0.8 4\n"}, {"classes.txt", "man\ncar\n"}},
       "",
       "1: 80,30,120,70 man 90; 2: 80,30,120,70 car 80; "},
      {{{"one.txt", "2 0.5 0.5 0.2 0.4\n"}, {"x.yaml", "names:\n  0: a\n  2: 'b'\nother: 1\n"}},
       "one.txt",
       "1: 80,30,120,70 b 100; ",
       {"--fps", "5", "--category", "IN/x.yaml"}},
      {{{"one.txt", "1 0.5 0.5 0.2 0.4\n"}, {"x.yaml", "names:\n- a\n- b\n"}},
       "one.txt",
       "1: 80,30,120,70 c 100; ",
       {"--fps", "5", "--category", "IN/x.yaml", "--category", "1=c"}},
      // KITTI
      {{{"000000.txt", "Car " + kitti + " 0.5\nDontCare " + kitti + "\n"}, {"000002.txt", "Van " + kitti + " 0.25\n"}},
       "",
       "1: 20,30,40,60 Car 50; 3: 20,30,40,60 Van 25; "},
      {{{"t.txt", "0 3 Car " + kitti + "\n2 3 Car " + kitti + "\n"}},
       "t.txt",
       "1: 20,30,40,60 Car 100; 3: 20,30,40,60 Car 100; "},
      // COCO
      {{{"c.json", R"({"info": {}, "images": [{"id": 7, "file_name": "x/v_1.jpg", "width": 200, "height": 100},
           {"id": 5, "file_name": "x/v_3.jpg"}], "categories": [{"id": 1, "name": "car"}], "annotations": [
           {"image_id": 5, "category_id": 1, "bbox": [20, 30, 20, 30]},
           {"image_id": 7, "category_id": 2, "bbox": [20, 30, 20, 30], "score": 0.5}]})"}},
       "c.json",
       "1: 20,30,40,60 2 50; 3: 20,30,40,60 car 100; "},
      {{{"c.json", R"([{"image_id": "b10", "category_id": 1, "bbox": [20, 30, 20, 30]},
           {"image_id": "b9", "category_id": 2, "bbox": [20, 30, 20, 30], "score": 0.5}])"}},
       "c.json",
       "9: 20,30,40,60 2 50; 10: 20,30,40,60 1 100; "},
      // CSV
      {{{"t.csv", "Frame,X1,Y1,X2,Y2,Confidence,Class\n0,20,30,40,60,0.5,\"big, red \"\"car\"\"\"\n2,20,30,40,60,,\n"}},
       "t.csv",
       R"(1: 20,30,40,60 big, red \u0022car\u0022 50; 3: 20,30,40,60 human 100; )"},
      {{{"t.csv",
         "bbox_left;bbox_top;bbox_width;bbox_height;timestamp;class\n20;30;20;30;1.5;3\n20;30;20;30;1.25;x\n"}},
       "t.csv",
       "1: 20,30,40,60 x 100; 2: 20,30,40,60 car 100; ",
       {"--category", "3=car"}},
      {{{"t.csv", "frame_id\tcx\tcy\tw\th\tconf\tname\n1\t30\t45\t20\t30\t80\tcar\n"}},
       "t.csv",
       "1: 20,30,40,60 car 80; "},
      // Results of each frame
      {{{"f_8.json", "[]"},
        {"f_9.json",
         R"([{"name": "car", "class": 2, "confidence": 0.5, "box": {"x1": 20, "y1": 30, "x2": 40, "y2": 60}, "track_id": 7},
             {"class": 3, "box": {"x2": 200.5, "y2": 60, "x1": 20, "y1": 30}, "name": null}])"},
        {"f_11.json", " [ ]\n"}},
       "",
       "9: 20,30,40,60 car 50; 9: 20,30,200.5,60 bus 100; ",
       {"--fps", "10", "--category", "3=bus"}},
      {{{"r.json",
         R"([[], [{"class": 2, "name": "car", "confidence": 0.5, "box": {"x1": 0.1, "y1": 0.3, "x2": 0.2, "y2": 0.6}}],
             [{"confidence": 1, "box": {"x1": -0.1, "y1": 0.3, "x2": 1.2, "y2": 0.6}}], []])"}},
       "r.json",
       "2: 20,30,40,60 van 50; 3: -20,30,240,60 human 100; ",
       {"--fps", "10", "--category", "2=van"}},
      {{{"r.json", R"([{"name": "a", "box": {"x1": 0, "y1": 0, "x2": 1, "y2": 2.5}}])"}},
       "r.json",
       "1: 0,0,1,2.5 a 100; "},
  };
  for (const Case& each : cases) {
    Arguments options = each.options;
    for (std::string& text : options) {
      if (text.rfind("IN/", 0) == 0) text = path("in/" + text.substr(3));
    }
    const Outcome outcome = converted(each.files, each.input, options);
    EXPECT_EQ(shown(outcome.out), each.expected) << outcome.err;
  }
}

TEST_F(Formats, CountFramesWithoutDetections) {
  const std::pair<std::string, std::size_t> cases[] = {{"[[],[],[]]", 3U}, {"[[], [], []]\n", 3U}, {"[]", 0U}};
  for (const auto& [text, count] : cases) {
    const Outcome outcome = converted({{"r.json", text}}, "r.json", kFps);
    EXPECT_EQ(splitAt('\n', outcome.out).size(), count) << outcome.err;
  }
  EXPECT_EQ(converted({{"r.json", "[]"}}, "r.json", kFps + Arguments{"--from", "results"}).err, "");
}

/// A line of the stream "gate", or of another one.
std::string frameLine(int second, const std::string& detection, const std::string& cameraName = "gate") {
  return fmt::format(R"({{"camera":"{}","timestamp":{}000000007,"picture":[200,100],"detections":[{{"box":[{}}}]}})",
                     cameraName, second, detection) +
         "\n";
}

TEST_F(Formats, HoldTracksThatAreReadAgain) {
  const std::string odd = R"(20,30,40.5,60],"label":"a, \u0022b\u0022\u000ac","score":50)";
  const std::string car = R"(20,30,40.5,60],"label":"car","score":50)";
  struct Case {
    std::string stream;
    Arguments options;
    std::string written;
    std::string readAgain;
  };
  const Case cases[] = {
      {frameLine(1, odd) + frameLine(1, R"(1,2,3,4],"label":" x ")", "y,ard") +
           R"({"camera":"gate","end":true})"
           "\n" +
           frameLine(3, R"(300,30,400,60],"label":"car")") + frameLine(4, car) + frameLine(5, car),
       {"--to", "csv"},
       "camera,frame,timestamp_ns,id,label,score,confident,left,top,width,height\n"
       "gate,1,1000000007,0,\"a, \"\"b\"\"\nc\",0.5,0,20,30,20.5,30\n"
       "\"y,ard\",1,1000000007,0,\" x \",1,0,1,2,2,2\n"
       "gate,3,4000000007,2,car,0.5,0,20,30,20.5,30\n"
       "gate,4,5000000007,2,car,0.5,0,20,30,20.5,30\n",
       frameLine(1, odd) + frameLine(4, car) + frameLine(5, car) +
           frameLine(1, R"(1,2,3,4],"label":" x ","score":100)", "y,ard")},
      {frameLine(1, car) + frameLine(3, R"(1,2,3,4],"label":"7")"),
       {"--to", "kitti", "--fps", "1"},
       "0 0 car -1 -1 -10 20 30 40.5 60 -1 -1 -1 -1000 -1000 -1000 -10 0.5\n"
       "2 1 7 -1 -1 -10 1 2 3 4 -1 -1 -1 -1000 -1000 -1000 -10 1\n",
       "1: 20,30,40.5,60 car 50; 3: 1,2,3,4 7 100; "},
  };
  for (const Case& each : cases) {
    const Outcome tracked = nivra(Arguments{"track", write("in.jsonl", each.stream)} + kAsStreams + each.options);
    EXPECT_EQ(tracked.out, each.written) << tracked.err;
    const Outcome read = nivra(Arguments{"convert", write("tracks", tracked.out), "--picture", "200x100"} +
                               (each.options[1] == "csv" ? Arguments() : kFps));
    const bool isShown = each.readAgain.front() != '{';
    EXPECT_EQ(isShown ? shown(read.out) : read.out, each.readAgain) << read.err;
  }
}

TEST_F(Formats, GoWhereTracksAreTold) {
  const std::string a = write("a.jsonl", frameLine(1, R"(1,2,3,4],"label":"x")"));
  const std::string b = write("b.jsonl", frameLine(1, R"(1,2,3,4],"label":"y")", "yard"));
  const std::string header = "camera,frame,timestamp_ns,id,label,score,confident,left,top,width,height\n";
  const std::string gate = "gate,1,1000000007,0,x,1,0,1,2,2,2\n";
  const std::string yard = "yard,1,1000000007,0,y,1,0,1,2,2,2\n";
  const Arguments both = Arguments{"track", a, b} + kAsStreams;
  EXPECT_EQ(nivra(both + Arguments{"-o", path("both.csv")}).err, "");
  EXPECT_EQ(contentOf(path("both.csv")), header + gate + yard);
  EXPECT_EQ(nivra(both + Arguments{"--to", "csv", "-o", path("each/")}).err, "");
  EXPECT_EQ(contentOf(path("each/a.csv")), header + gate);
  EXPECT_EQ(contentOf(path("each/b.csv")), header + yard);
  EXPECT_EQ(nivra(both + Arguments{"--to", "kitti", "-o", path("each/")}).err, "");
  EXPECT_EQ(contentOf(path("each/b.txt")), "0 0 y -1 -1 -10 1 2 3 4 -1 -1 -1 -1000 -1000 -1000 -10 1\n");
  EXPECT_EQ(nivra({"track", path("each/a.csv"), "--picture", "200x100"}).out.front(), '{');

  const std::pair<Arguments, const char*> refused[] = {
      {{a, b, "--to", "kitti"}, "several inputs make several kitti files"},
      {{write("c.jsonl", contentOf(a) + contentOf(b)), "--to", "kitti"}, "KITTI files hold one camera, not both"},
      {{write("d.jsonl", R"({"detections":[{"box":[0,1,1,0]}]})"), "--to", "csv"}, "CSV files are in pixels"},
      {{write("e.jsonl", frameLine(1, R"(1,2,3,4],"label":"a man")")), "--to", "kitti"}, "which \"a man\" is none of"},
      {{write("f.jsonl", frameLine(1, R"(1,2,3,4],"label":"")")), "--to", "kitti"}, "which \"\" is none of"},
      {{write("g.jsonl", frameLine(1, R"(1,2,3,4],"label":"DontCare")")), "--to", "kitti"}, "is none of"},
  };
  for (const auto& [arguments, message] : refused) {
    const Outcome outcome = nivra(Arguments{"track"} + kAsStreams + arguments);
    EXPECT_NE(outcome.code, 0);
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
}

TEST_F(Formats, TellTheirTimes) {
  const std::string columns = ",x,y,w,h\n";
  const std::pair<std::string, const char*> cases[] = {
      {"time" + columns + "2.5,1,1,1,1", "2500000000"},
      {"time_ms" + columns + "40,1,1,1,1", "40000000"},
      {"timestamp" + columns + "1700000000123,1,1,1,1", "1700000000123000000"},
  };
  for (const auto& [text, timestamp] : cases) {
    const Outcome outcome = converted({{"t.csv", text}}, "t.csv");
    EXPECT_NE(outcome.out.find(fmt::format(R"("timestamp":{},)", timestamp)), std::string::npos) << outcome.err;
  }
}

TEST_F(Formats, NameWhatIsWrong) {
  struct Case {
    std::string file;
    std::string text;
    const char* message;
    Arguments options = kFps;
  };
  const Case cases[] = {
      {"y_1.txt", "0 0.5 0.5 0.2 0.4\n0 0.5 x 0.2 0.4", "found \"x\" (IN:2, y)"},
      {"y_1.txt", "0 0.5 0.5 0.2 0.4\n1 0.5 0.5", "missing column (IN:2, width)"},
      {"y_1.txt", "0 0.5 0.5 0.2 0.4\n0.5 0.5 0.5 0.2 0.4", "found \"0.5\" (IN:2, class)"},
      {"y_1.txt", "0 0.5 0.5 0.2 0.4 1 2 3", "more than 7 columns (IN:1, column 8)", {"--fps", "5", "--from", "yolo"}},
      {"k.txt", "0 1 Car 0 0 0 40 30 20 60 -1 -1 -1 0 0 0 0", "to 1000000000, found \"20\" (IN:1, right)"},
      {"c.json", R"({"images":[],"instances":[{"image_id":1,"category_id":1,"bbox":[1,2,3]}]})",
       "expected 4 numbers, found 3 (IN, instances[0].bbox)"},
      {"c.json", R"({"images":[{"id":2}],"instances":[{"image_id":1,"category_id":1,"bbox":[1,2,3,4]}]})",
       "none has the id \"1\" (IN, images)"},
      {"r.json", R"([[],[{"box":{"x1":1,"y1":2,"x2":3,"y2":4}},{"box":{"x1":1,"y1":2,"x2":3}}]])",
       "missing (IN, [1][1].box.y2)"},
      {"r.json", R"([{"box":{"x1":1,"y1":2,"x2":0.5,"y2":4}}])", "x2 is left of x1 (IN, [0].box)"},
      {"r.json", R"([{"box":{"x1":1,"y1":2,"x2":3,"y2":4,"x3":5,"y3":6}}])", "rotated boxes (IN, [0].box.x3)"},
      {"r.json", R"([[{"box":{"x1":1,"y1":2,"x2":3,"y2":4}}],{"box":1}])", "an array, found an object (IN, [1])"},
      {"r.json", R"([[{"name":"a"}]])", "missing (IN, [0][0].box)"},
      {"r.json", R"([[{"box":{"x1":1}])", "IN, read as results: no valid JSON"},
      {"c.csv", "frame,x,y,w\n1,2,3,4\n", "no column for height (IN:1)"},
      {"c.csv", "frame,x,y,w,h\n\n1,2,3,4\n", "missing column (IN:3, h)"},
      {"c.csv", "frame,x,y,w,h,label\n1,2,3,4,5,\"a\n", "no closing quote in the line (IN:2, column 6)"},
      {"c.csv", "frame,x1,y1,x2,y2\n1,2,3,1,5\n", "found \"1\" (IN:2, x2)"},
      {"c.csv", "frame,name,x1,y1,x2,y2\n1,\"a\nb\"\"\n\",2,3,4,5\n1,c,d\n", "found \"d\" (IN:5, x1)"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = converted({{each.file, each.text}}, each.file, each.options);
    std::string expected = each.message;
    const auto place = expected.find("IN");
    expected.replace(place, 2, path("in/" + each.file));
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.code, 1);
  }
}

}  // namespace nivra::tool::test
