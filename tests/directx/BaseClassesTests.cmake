# The filter base classes, in graphs of their own.
vesca_library(test_filters
  SOURCES
    support/GraphFilters.cpp
    support/ShiftingTransform.cpp
  LINKS dshow_base)
vesca_test(test_dshow_base
  SOURCES
    BaseClassesTest.cpp
  LINKS test_filters)
