#pragma once

#include <string>

/// A path that the application names itself, such as "/var/log/T2.log", and the folder that stands before it
/// on a bench (nothing on the box). Logs and consoles show the name; files are opened at the real place.
class RootedPath {
  public:
    /// A path taken as it is, such as one given on the command line.
    explicit RootedPath(std::string path);

    /// `absolute` below the folder `root`; an empty root changes nothing.
    RootedPath(std::string root, std::string absolute);

    /// The name, without the root.
    const std::string& Shown() const { return mShown; }

    /// Where the file really is.
    std::string Actual() const { return mRoot + mShown; }

    /// `text` with the root taken out wherever a path that starts with it stands, for messages of the system.
    std::string ShownIn(std::string text) const;

  private:
    std::string mRoot;
    std::string mShown;
};
