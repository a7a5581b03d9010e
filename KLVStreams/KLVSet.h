#pragma once

class DataStream;

/// The framing of one message, or of a part of one, for the length of a scope.
class KLVSet {
  public:
    explicit KLVSet(DataStream& stream) : mStream(stream) {}
    KLVSet(const KLVSet&) = delete;
    KLVSet& operator=(const KLVSet&) = delete;
    virtual ~KLVSet() = default;

    DataStream& Stream() const { return mStream; }

  private:
    DataStream& mStream;
};
