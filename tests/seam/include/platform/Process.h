// The process framework of this site.
#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

namespace Zel {

class Process {
 public:
  Process(int argc, char** argv, unsigned int flags,
          const boost::program_options::options_description& options);
  virtual ~Process();
  virtual void halt();

  /// With an old-style cast: the headers of a site need not pass this tree's warnings.
  bool isGood() const { return (bool)good; }
  const boost::program_options::variables_map& programOptions() const { return variables_; }
  int operator()();
  static Process* instance();
  bool exiting() const;

 protected:
  bool good = true;

 private:
  boost::program_options::variables_map variables_;
};

void sleepSeconds(unsigned int seconds);

}  // namespace Zel
