#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Picture kinds of a frame list kept in coded order, as the MPEG formats store them.
enum class PictureKind : uint8_t { I = 0, P = 1, B = 2, Other = 3 };

inline bool IsAnchor(PictureKind kind) {
    return kind != PictureKind::B;
}

// The pictures a decoder of I, P and B frames keeps between calls: the two reference frames last
// decoded and one picture for B frames, so that stepping forward decodes one frame and the
// references of a B frame are decoded once for all B frames between them.
//
// The video engine holds its own references, the last two anchors it decoded, which are the two
// buffers here. A held anchor is therefore only passed over where the engine would next work from
// the same references (see CanPassOver).
class ReferencePictures {
public:
    // Three pictures of `pictureBytes`, none holding a frame.
    void Allocate(size_t pictureBytes);
    void Clear();

    // The picture of anchor `frame` when a reference buffer holds it, else null.
    uint8_t* Held(int32_t frame);
    int32_t Newer() const { return frames[newer]; }
    int32_t Older() const { return frames[1 - newer]; }
    // The buffer anchor `frame` is decoded into: its own when held, else the older one. It becomes
    // the newer reference.
    uint8_t* DecodeAnchor(int32_t frame);
    uint8_t* BPicture() { return buffers[2].data(); }
    // A failed decode leaves no usable picture of `frame`.
    void Forget(int32_t frame);
    // Whether held anchor `frame` may be passed over undecoded on a walk that next decodes from
    // `nextAnchor` on: the engine's newest reference must be `frame`, or the pair must be the
    // engine's two references in their order.
    bool CanPassOver(int32_t frame, int32_t nextAnchor) const;

private:
    std::vector<uint8_t> buffers[3];
    int32_t frames[2] = {-1, -1};
    int newer = 1;
};

// The display order of frames kept in coded order: each I or P frame moves behind the B frames that
// follow it in the file. B frames before the first I or P frame stay where they are.
template <class KindAt> std::vector<int32_t> DisplayOrder(int32_t count, KindAt&& kindAt) {
    std::vector<int32_t> order(static_cast<size_t>(count));
    int32_t index = 0;
    for (; index < count && kindAt(index) == PictureKind::B; ++index) {
        order[static_cast<size_t>(index)] = index;
    }
    for (; index < count; ++index) {
        order[static_cast<size_t>(index)] = index;
        if (kindAt(index) == PictureKind::B && index > 0) {
            order[static_cast<size_t>(index)] = order[static_cast<size_t>(index - 1)];
            order[static_cast<size_t>(index - 1)] = index;
        }
    }
    return order;
}

// The I or P frame before `frame` in coded order, or -1.
template <class KindAt> int32_t PreviousAnchor(int32_t frame, KindAt&& kindAt) {
    for (int32_t index = frame - 1; index >= 0; --index) {
        if (IsAnchor(kindAt(index))) {
            return index;
        }
    }
    return -1;
}

// The I or P frame after `frame` in coded order, or -1.
template <class KindAt> int32_t NextAnchor(int32_t frame, int32_t count, KindAt&& kindAt) {
    for (int32_t index = frame + 1; index < count; ++index) {
        if (IsAnchor(kindAt(index))) {
            return index;
        }
    }
    return -1;
}

// The frame a walk to `target` decodes next after `frame`: B frames are passed over until the
// target or an I or P frame.
template <class KindAt> int32_t NextOnWalk(int32_t frame, int32_t target, KindAt&& kindAt) {
    int32_t index = frame + 1;
    while (index < target && !IsAnchor(kindAt(index))) {
        ++index;
    }
    return index;
}

// Where decoding must start so that anchor `anchor` can be decoded: back through the I and P frames
// to an I frame, or to the newer reference, in which case the anchor after it. -1, after
// `noSuchFrame` is called, when the list starts before an I frame is met.
template <class KindAt, class NoSuchFrame>
int32_t AnchorWalkStart(int32_t anchor, int32_t count, int32_t newerReference, KindAt&& kindAt,
                        NoSuchFrame&& noSuchFrame) {
    for (int32_t index = anchor; index >= 0;) {
        if (index == newerReference) {
            return NextAnchor(index, count, kindAt);
        }
        if (kindAt(index) != PictureKind::P) {
            return index;
        }
        index = PreviousAnchor(index, kindAt);
        if (index < 0) {
            noSuchFrame();
        }
    }
    return -1;
}

// The first frame to decode for `target`. An I frame is its own start. A B frame needs both the I
// or P frame before it and the one before that, so the walk starts from the earlier of the two,
// unless the two are the references held already.
template <class KindAt, class NoSuchFrame>
int32_t WalkStart(int32_t target, int32_t count, const ReferencePictures& references, KindAt&& kindAt,
                  NoSuchFrame&& noSuchFrame) {
    PictureKind kind = kindAt(target);
    if (kind == PictureKind::I || kind == PictureKind::Other) {
        return target;
    }
    int32_t anchor = target;
    if (kind == PictureKind::B) {
        int32_t following = PreviousAnchor(target, kindAt);
        anchor = following < 0 ? -1 : PreviousAnchor(following, kindAt);
        if (anchor < 0) {
            noSuchFrame();
            return -1;
        }
        if (following == references.Newer() && anchor == references.Older()) {
            return target;
        }
    }
    int32_t start = AnchorWalkStart(anchor, count, references.Newer(), kindAt, noSuchFrame);
    return start > target ? target : start;
}

} // namespace Vorn::Vorncast::Decoders
