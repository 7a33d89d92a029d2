#include "support/dicom_series.h"

#include <map>
#include <set>
#include <utility>

#include "support/cancellation.h"
#include "support/dicom_files.h"
#include "support/failure.h"

namespace example {

namespace {

// Number, identifier and kind: the order of a list.
using SeriesKey = std::pair<std::pair<int, std::string>, std::string>;

SeriesKey KeyOf(const DicomFrame& frame) {
  return {{frame.seriesNumber.value_or(0), frame.seriesUid}, frame.kind};
}

// A number where it is the only one, otherwise the identifier; and which kind of image, where there are some.
void NameSeries(std::vector<DicomSeries>& all) {
  std::map<int, std::set<std::string>> ofNumber;
  std::map<std::string, int> kinds;
  for (const DicomSeries& series : all) {
    const DicomFrame& frame = series.frames.front();
    ofNumber[frame.seriesNumber.value_or(-1)].insert(frame.seriesUid);
    ++kinds[frame.seriesUid];
  }
  std::map<std::string, int> named;
  for (DicomSeries& series : all) {
    const DicomFrame& frame = series.frames.front();
    const bool isNumbered = frame.seriesNumber && ofNumber[*frame.seriesNumber].size() == 1;
    series.name = isNumbered ? std::to_string(*frame.seriesNumber) : frame.seriesUid;
    const int kind = ++named[frame.seriesUid];
    if (kinds[frame.seriesUid] > 1) series.name.append(":").append(std::to_string(kind));
  }
}

std::string Listing(const std::vector<DicomSeries>& all) {
  std::string text;
  for (const DicomSeries& series : all) text.append(text.empty() ? "" : "; ").append(SeriesText(series));
  return text;
}

// By its name, or its identifier.
const DicomSeries& ChooseSeries(const std::vector<DicomSeries>& all, const std::string& path,
                                const std::string& chosen) {
  if (chosen.empty()) {
    if (all.size() > 1)
      throw Failure("several series in " + path + ", choose one with --series: " + Listing(all));
    return all.front();
  }
  std::vector<const DicomSeries*> fitting;
  for (const DicomSeries& series : all) {
    if (series.name == chosen) return series;
    const DicomFrame& frame = series.frames.front();
    const bool isNumber = frame.seriesNumber && std::to_string(*frame.seriesNumber) == chosen;
    if (isNumber || frame.seriesUid == chosen) fitting.push_back(&series);
  }
  if (fitting.size() != 1)
    throw Failure((fitting.empty() ? "no series " : "several series ") + chosen + " in " + path +
                  ", --series takes: " + Listing(all));
  return *fitting.front();
}

// The rank of its time counts where the files do not number the echoes, or all of them alike.
void NumberEchoes(std::vector<DicomFrame>& frames) {
  std::set<double> times;
  std::set<int> numbers;
  for (const DicomFrame& frame : frames) {
    if (frame.echoNumber) numbers.insert(*frame.echoNumber);
    if (frame.echoTime) times.insert(*frame.echoTime);
  }
  if (!numbers.empty() && numbers.size() >= times.size()) return;
  for (DicomFrame& frame : frames) {
    if (!frame.echoTime) continue;
    frame.echoNumber = static_cast<int>(std::distance(times.begin(), times.find(*frame.echoTime))) + 1;
  }
}

std::vector<DicomFrame> ChooseEcho(const DicomSeries& series, std::optional<int> chosen) {
  const std::string& name = series.name;
  const std::set<int> echoes = EchoesOf(series);
  std::string list;
  for (const int echo : echoes) list.append(list.empty() ? "" : ", ").append(std::to_string(echo));
  if (!chosen && echoes.size() > 1)
    throw Failure("series " + name + " has several echoes, choose one with --echo: " + list);
  if (chosen && !echoes.contains(*chosen))
    throw Failure("no echo " + std::to_string(*chosen) + " in series " + name + ", --echo takes: " + list);
  return chosen ? OfEcho(series, *chosen).frames : series.frames;
}

std::string WordOf(const std::string& kind) {
  if (kind.find("LOCALIZER") != std::string::npos) return ", localiser";
  return kind.rfind("DERIVED", 0) == 0 ? ", derived" : "";
}

}  // namespace

std::vector<DicomSeries> FindDicomSeries(const std::string& path) {
  std::map<SeriesKey, DicomSeries> found;
  for (const std::string& file : FindDicomFiles(path)) {
    ThrowIfCancelled();
    for (DicomFrame& frame : ReadDicomFrames(file)) found[KeyOf(frame)].frames.push_back(std::move(frame));
  }
  if (found.empty()) throw Failure("no DICOM image in " + path);
  std::vector<DicomSeries> all;
  for (auto& [key, series] : found) {
    NumberEchoes(series.frames);
    all.push_back(std::move(series));
  }
  NameSeries(all);
  return all;
}

std::set<int> EchoesOf(const DicomSeries& series) {
  std::set<int> echoes;
  for (const DicomFrame& frame : series.frames) echoes.insert(frame.echoNumber.value_or(1));
  return echoes;
}

DicomSeries OfEcho(DicomSeries series, int echo) {
  std::erase_if(series.frames, [&](const DicomFrame& frame) { return frame.echoNumber.value_or(1) != echo; });
  return series;
}

std::string SeriesText(const DicomSeries& series) {
  const DicomFrame& first = series.frames.front();
  const std::string count = std::to_string(series.frames.size());
  const std::string number = first.seriesNumber.value_or(0) > 0 && series.name.starts_with(first.seriesUid)
                                 ? " number " + std::to_string(*first.seriesNumber)
                                 : "";
  return series.name + number + " '" + first.description + "', " + count +
         (count == "1" ? " slice" : " slices") + " of " + std::to_string(first.columns) + " x " +
         std::to_string(first.rows) + WordOf(first.kind);
}

std::vector<DicomFrame> ChooseDicomFrames(const std::string& path, const SeriesChoice& choice) {
  const std::vector<DicomSeries> all = FindDicomSeries(path);
  const DicomSeries& series = ChooseSeries(all, path, choice.series);
  for (const DicomFrame& frame : series.frames) {
    if (!frame.refusal.empty()) throw Failure(frame.refusal);
  }
  return ChooseEcho(series, choice.echo);
}

}  // namespace example
