# Sources of the live road: replay and follow.
target_sources(tracewell_cli PRIVATE
  commands/FollowCommand.cpp
  commands/ReplayCommand.cpp
  live/EventViewer.cpp
  live/LiveChannel.cpp
  live/LiveKernel.cpp
  live/LivePicture.cpp
  live/LiveScreen.cpp
  live/LiveViewer.cpp
  live/Transit.cpp
  live/TransitionViewer.cpp
  live/ViewerWatch.cpp
)
