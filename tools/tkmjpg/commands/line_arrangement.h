// Which lines the first image of a field pair has, from the picture: writers do not agree on what
// the field codes of the AVI1 segment mean.
#pragma once

#include <cstdint>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// Counts horizontal edges that say whether the odd lines lie below the even ones, as they are
// shown, or above, so that each two lines have to be swapped. Where something moves up or down an
// edge says nothing; so those that stay where they are count, and the others only if there are too
// few.
class LineArrangement {
 public:
  // `picture` is of the layout YuYv; the one before is kept in its place.
  void Add(Picture& picture, int height);

  int Pictures() const { return pictures_; }
  // Whether one of the two has at least twice the edges; more pictures make it no clearer if they
  // are many.
  bool IsClear() const;
  bool IsCertain() const;
  bool IsSwapped() const { return Counted().swapped > Counted().as_is; }
  double Margin() const;  // how many times the edges of the other arrangement

 private:
  struct Edges {
    int64_t as_is = 0, swapped = 0;
    void Add(int vote) { vote > 0 ? ++as_is : ++swapped; }
  };

  const Edges& Counted() const;

  Edges still_, all_;
  Picture before_;
  int pictures_ = 0;
};

}  // namespace tkmjpg::tool
