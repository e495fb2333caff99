# $autorun
# $description: SEM image behind the layout
import pya

if pya.MainWindow.instance() is not None:  # not in batch mode
    import sem_background
    sem_background.start()
