// The words by which a photo is found. One thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "library/facts/PhotoFacts.h"
#include "library/search/PhotoIndex.h"

namespace moxtel {

class OpenLibrary;
struct PhotoColumns;

class PhotoWords final {
 public:
  static constexpr std::size_t kMostBytes = 4'096;  // of one photo, for each field

  // Reads the names and members of all albums. Memory: eight bytes for each member of an album, up to
  // kMostMembers of them.
  static constexpr std::size_t kMostMembers = 4'000'000;
  explicit PhotoWords(OpenLibrary& library);

  // The words of one photo; photos come by ascending model id. Valid until the next call.
  const IndexedWords& of(const PhotoFacts& photo);
  // The places of the photos so far, up to PhotoIndex::kMostPlaces.
  std::vector<IndexedPlace> places() const;

 private:
  struct Membership {
    std::uint32_t photo = 0;  // index into the columns
    std::uint32_t album = 0;  // index into names_
  };
  void readMembers(OpenLibrary& library);
  void addText(std::string& words, std::string_view text);
  void addName(std::string& words, const std::string& name);
  void addPlace(const PlaceFacts& place);
  void addDate(std::int64_t wallClock);
  void addAlbums(std::int64_t modelId);

  std::shared_ptr<const PhotoColumns> photos_;
  std::vector<std::string> names_;   // the words of each album's name
  std::vector<Membership> members_;  // by photo
  std::size_t nextPhoto_ = 0;
  std::size_t nextMember_ = 0;
  std::unordered_map<std::string, std::string> folded_;   // the words of texts that many photos share
  std::unordered_map<std::string, std::int64_t> places_;  // how many photos
  IndexedWords words_;
};

}  // namespace moxtel
