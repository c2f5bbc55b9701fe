pexo_bench(bench_pipeline SOURCES bench_pipeline.cpp LIBRARIES pexo_core_linked)
# The blur's entry, so that the bench can give it a set time.
target_link_options(bench_pipeline PRIVATE "LINKER:--wrap=_ZN4pexo24TryComposeBackgroundBlurERK8QmxImageRS0_S2_f")
