"""A process that forks after drawing draws in the child, as data-loading
workers do."""

import multiprocessing

import numpy

import kestrova
from conftest import gradient_picture


def draw_in_child(arguments):
    name, seed = arguments
    return kestrova.draw(name, gradient_picture(240, 320, 3, seed=seed), threads=2)


def test_fork_after_drawing_then_draw_in_the_child():
    jobs = [(effect.name, seed) for effect in kestrova.effects() for seed in (1, 2)]
    # The parent's pool has its threads before the fork.
    expected = [draw_in_child(job) for job in jobs]
    context = multiprocessing.get_context("fork")
    with context.Pool(2) as pool:
        drawings = pool.map_async(draw_in_child, jobs).get(timeout=300)
    for job, drawing, reference in zip(jobs, drawings, expected):
        assert numpy.array_equal(drawing, reference), job
